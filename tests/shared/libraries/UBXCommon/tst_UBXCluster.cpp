#include "UBXCluster.h"

#include <QtTest>

#include <algorithm>

namespace {
// The cover by its rules, read literally: every width of every height tried
// at every set corner, candidates sorted stably by decreasing area, taken
// while still whole, repeated while one was not.
QList<UBXCluster> gfReferenceCover(QByteArray aGrid, int aColumns)
{
    QList<UBXCluster> lCover;
    for (bool lRejected = true; lRejected;) {
        QList<UBXCluster> lCandidates;
        for (int lCell = 0; lCell < aGrid.size(); ++lCell) {
            const int lRow = lCell / aColumns, lColumn = lCell % aColumns;
            UBXCluster lBest;
            for (int lH = 1; lCell + (lH - 1) * aColumns < aGrid.size(); ++lH)
                for (int lW = 1; lColumn + lW <= aColumns &&
                                 gfIsCluster(aGrid, aColumns, lRow, lColumn, lW, lH);
                     ++lW)
                    if (lW * lH > lBest.mvWidth * lBest.mvHeight)
                        lBest = UBXCluster{lColumn, lRow, lW, lH};
            if (lBest.mvWidth > 0)
                lCandidates << lBest;
        }
        std::stable_sort(lCandidates.begin(), lCandidates.end(), [](auto& aA, auto& aB) {
            return aA.mvWidth * aA.mvHeight > aB.mvWidth * aB.mvHeight;
        });
        lRejected = false;
        for (const UBXCluster& lC : lCandidates) {
            const bool lWhole =
                gfIsCluster(aGrid, aColumns, lC.mvY, lC.mvX, lC.mvWidth, lC.mvHeight);
            if (lWhole)
                gpSetCluster(aGrid.data(), aColumns, lCover.emplace_back(lC), 0);
            lRejected = lRejected || !lWhole;
        }
    }
    return lCover;
}
} // namespace

class tst_UBXCluster : public QObject
{
    Q_OBJECT

private slots:
    // The fixed cases, then random grids up to 30 x 17 against the reference.
    void cover_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<QByteArray>("grid");
        QTest::addColumn<QList<UBXCluster>>("expected");
        QTest::newRow("empty") << 3 << QByteArray(6, 0) << QList<UBXCluster>();
        QTest::newRow("full 3x4") << 4 << QByteArray(12, 1) << QList<UBXCluster>{{0, 0, 4, 3}};
        QTest::newRow("L shape") << 3 << QByteArray("\1\1\1\1\0\0\1\0\0", 9)
                                 << QList<UBXCluster>{{0, 0, 3, 1}, {0, 1, 1, 2}};
        QTest::newRow("height-1 tie")
            << 2 << QByteArray("\1\1\1\0", 4) << QList<UBXCluster>{{0, 0, 2, 1}, {0, 1, 1, 1}};
        QRandomGenerator lRandom(20261123);
        for (int lRound = 0; lRound < 3000; ++lRound) {
            const int lColumns = 1 + int(lRandom.bounded(30));
            const int lDensity = lRound % 10 == 0 ? 100 : int(lRandom.bounded(20, 100));
            QByteArray lGrid(lColumns * (1 + int(lRandom.bounded(17))), 0);
            for (char& lCell : lGrid)
                lCell = int(lRandom.bounded(100)) < lDensity ? 1 : 0;
            QTest::addRow("random %d", lRound)
                << lColumns << lGrid << gfReferenceCover(lGrid, lColumns);
        }
    }
    // Also: each set cell covered once and no other, the grid ends clear.
    void cover()
    {
        QFETCH(int, columns);
        QFETCH(QByteArray, grid);
        QByteArray lGrid = grid, lCount(grid.size(), 0);
        QList<UBXCluster> lClusters;
        gfFindClusters(lGrid.data(), int(grid.size()) / columns, columns, lClusters);
        QTEST(lClusters, "expected");
        for (const UBXCluster& lC : lClusters)
            for (int lY = lC.mvY; lY < lC.mvY + lC.mvHeight; ++lY)
                for (int lX = lC.mvX; lX < lC.mvX + lC.mvWidth; ++lX)
                    ++lCount[lY * columns + lX];
        QCOMPARE(lCount, grid);
        QCOMPARE(lGrid, QByteArray(grid.size(), 0));
        QVERIFY(gfIsCluster(lGrid, columns, 0, 0, 1, 0)); // height 0 reads nothing
    }
};

QTEST_GUILESS_MAIN(tst_UBXCluster)
#include "tst_UBXCluster.moc"
