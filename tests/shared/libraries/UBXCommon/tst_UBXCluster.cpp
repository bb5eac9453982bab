#include "UBXCluster.h"

#include <QtTest>

#include <algorithm>

namespace {
// "110/011": rows separated by '/', '1' for a set cell.
QByteArray gfGrid(const char* aRows)
{
    return QByteArray(aRows).replace('/', "").replace('1', 1).replace('0', char(0));
}

// The cover by its rules, read literally: every width of every height tried
// at every set corner, candidates sorted stably by decreasing area, taken
// while still whole, repeated while one was not.
QList<UBXCluster> gfReferenceCover(QByteArray aGrid, int aRows, int aColumns)
{
    QList<UBXCluster> lCover;
    for (bool lRejected = true; lRejected;) {
        QList<UBXCluster> lCandidates;
        for (int lRow = 0; lRow < aRows; ++lRow) {
            for (int lColumn = 0; lColumn < aColumns; ++lColumn) {
                UBXCluster lBest;
                for (int lHeight = 1; lRow + lHeight <= aRows; ++lHeight) {
                    for (int lWidth = 1;
                         lColumn + lWidth <= aColumns &&
                         gfIsCluster(aGrid, aColumns, lRow, lColumn, lWidth, lHeight);
                         ++lWidth) {
                        if (lWidth * lHeight > lBest.mvWidth * lBest.mvHeight)
                            lBest = UBXCluster{lColumn, lRow, lWidth, lHeight};
                    }
                }
                if (lBest.mvWidth > 0)
                    lCandidates << lBest;
            }
        }
        std::stable_sort(lCandidates.begin(), lCandidates.end(), [](auto& aA, auto& aB) {
            return aA.mvWidth * aA.mvHeight > aB.mvWidth * aB.mvHeight;
        });
        lRejected = false;
        for (const UBXCluster& lCandidate : lCandidates) {
            const bool lWhole = gfIsCluster(aGrid, aColumns, lCandidate.mvY, lCandidate.mvX,
                                            lCandidate.mvWidth, lCandidate.mvHeight);
            if (lWhole) {
                lCover << lCandidate;
                gpSetCluster(aGrid.data(), aColumns, lCandidate, 0);
            }
            lRejected = lRejected || !lWhole;
        }
    }
    return lCover;
}
} // namespace

Q_DECLARE_METATYPE(UBXCluster)

class tst_UBXCluster : public QObject
{
    Q_OBJECT

private slots:
    void findClusters_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<QByteArray>("grid");
        QTest::addColumn<QList<UBXCluster>>("expected");
        QTest::newRow("empty") << 3 << gfGrid("000/000") << QList<UBXCluster>();
        QTest::newRow("full 3x4") << 4 << gfGrid("1111/1111/1111")
                                  << QList<UBXCluster>{{0, 0, 4, 3}};
        QTest::newRow("L shape") << 3 << gfGrid("111/100/100")
                                 << QList<UBXCluster>{{0, 0, 3, 1}, {0, 1, 1, 2}};
        QTest::newRow("height-1 tie")
            << 2 << gfGrid("11/10") << QList<UBXCluster>{{0, 0, 2, 1}, {0, 1, 1, 1}};
        QTest::newRow("larger later corner")
            << 3 << gfGrid("100/011/011") << QList<UBXCluster>{{1, 1, 2, 2}, {0, 0, 1, 1}};
    }
    void findClusters()
    {
        QFETCH(int, columns);
        QFETCH(QByteArray, grid);
        QFETCH(QList<UBXCluster>, expected);
        QList<UBXCluster> lClusters;
        gfFindClusters(grid.data(), int(grid.size()) / columns, columns, lClusters);
        QCOMPARE(lClusters, expected);
        QCOMPARE(grid.count(char(0)), grid.size());
    }

    void bestClusterAndHeightZero()
    {
        const QByteArray lGrid = gfGrid("110/100/000");
        UBXCluster lBest{9, 9, 9, 9};
        gfGetBestCluster(lGrid, 3, 3, 0, 0, lBest);
        QCOMPARE(lBest, (UBXCluster{0, 0, 2, 1}));
        gfGetBestCluster(lGrid, 3, 3, 2, 2, lBest);
        QCOMPARE(lBest, UBXCluster());
        QVERIFY(gfIsCluster(lGrid, 3, 2, 0, 3, 0));
        QVERIFY(!gfIsCluster(lGrid, 3, 1, 0, 2, 1));
    }

    // Random grids up to 30 x 17 at several densities: the cover is the
    // reference's, each cluster a rectangle of set cells, every set cell
    // covered exactly once, and the grid ends clear.
    void coverMatchesReference()
    {
        QRandomGenerator lRandom(20261123);
        for (int lRound = 0; lRound < 3000; ++lRound) {
            const int lRows = 1 + int(lRandom.bounded(17)), lColumns = 1 + int(lRandom.bounded(30));
            const int lDensity = lRound % 10 == 0 ? 100 : int(lRandom.bounded(20, 100));
            QByteArray lGrid(lRows * lColumns, 0);
            for (char& lCell : lGrid)
                lCell = int(lRandom.bounded(100)) < lDensity ? 1 : 0;
            const QByteArray lOriginal = lGrid;
            QList<UBXCluster> lClusters;
            gfFindClusters(lGrid.data(), lRows, lColumns, lClusters);
            QCOMPARE(lClusters, gfReferenceCover(lOriginal, lRows, lColumns));
            QCOMPARE(lGrid.count(char(0)), lGrid.size());
            QByteArray lCount(lGrid.size(), 0);
            for (const UBXCluster& lCluster : lClusters) {
                QVERIFY(lCluster.mvWidth > 0 && lCluster.mvHeight > 0);
                QVERIFY(gfIsCluster(lOriginal, lColumns, lCluster.mvY, lCluster.mvX,
                                    lCluster.mvWidth, lCluster.mvHeight));
                for (int lY = lCluster.mvY; lY < lCluster.mvY + lCluster.mvHeight; ++lY)
                    for (int lX = lCluster.mvX; lX < lCluster.mvX + lCluster.mvWidth; ++lX)
                        ++lCount[lY * lColumns + lX];
            }
            QCOMPARE(lCount, lOriginal);
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXCluster)
#include "tst_UBXCluster.moc"
