#include "UBXChangedRegion.h"
#include "UBXCluster.h"

#include <QtTest>

class tst_UBXChangedRegion : public QObject
{
    Q_OBJECT
    int mvPasses = 0; // the sampling rotation is process-wide and starts at its first line

    // Zero frames but for current's changed pixels and line padding (never compared).
    QRegion mfRegion(int aPasses, QSize aSize, int aBytesPerPixel, const QList<QPoint>& aChanges)
    {
        const int lLine = aSize.width() * aBytesPerPixel, lStride = (lLine + 3) / 4 * 4;
        QByteArray lPrevious(lStride * aSize.height(), 0), lCurrent(lPrevious.size(), 1);
        for (int lY = 0; lY < aSize.height(); ++lY)
            std::fill_n(lCurrent.data() + lY * lStride, lLine, 0);
        for (const QPoint& lChange : aChanges)
            lCurrent[lChange.y() * lStride + lChange.x() * aBytesPerPixel] = 1;
        mvPasses += aPasses;
        return gfGetChangedRegion(aPasses, reinterpret_cast<const uchar*>(lCurrent.constData()),
                                  reinterpret_cast<const uchar*>(lPrevious.constData()),
                                  aSize.width(), aSize.height(), aBytesPerPixel);
    }

private slots:
    // Per set corner the largest rectangle (the flatter one on a tie of area),
    // taken largest first in grid order while still whole, again while one was not.
    void cover_data()
    {
        QTest::addColumn<int>("columns");
        QTest::addColumn<QByteArray>("grid");
        QTest::addColumn<QList<UBXCluster>>("expected");
        QTest::newRow("empty") << 3 << QByteArray(6, 0) << QList<UBXCluster>();
        QTest::newRow("full") << 4 << QByteArray(12, 1) << QList<UBXCluster>{{0, 0, 4, 3}};
        QTest::newRow("L") << 3 << QByteArray("\1\1\1\1\0\0\1\0\0", 9)
                           << QList<UBXCluster>{{0, 0, 3, 1}, {0, 1, 1, 2}};
        QTest::newRow("tie") << 2 << QByteArray("\1\1\1\0", 4)
                             << QList<UBXCluster>{{0, 0, 2, 1}, {0, 1, 1, 1}};
        QTest::newRow("cross, second pass")
            << 3 << QByteArray("\0\1\0\1\1\1\0\1\0", 9)
            << QList<UBXCluster>{{1, 0, 1, 3}, {2, 1, 1, 1}, {0, 1, 1, 1}};
    }
    // Also: the grid ends clear.
    void cover()
    {
        QFETCH(int, columns);
        QFETCH(QByteArray, grid);
        QList<UBXCluster> lClusters;
        gfFindClusters(grid.data(), int(grid.size()) / columns, columns, lClusters);
        QTEST(lClusters, "expected");
        QCOMPARE(grid, QByteArray(grid.size(), 0));
    }

    void everyLine_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("bytesPerPixel");
        QTest::addColumn<QList<QPoint>>("changes");
        QTest::addColumn<QRegion>("expected");
        const auto lRow = [](const char* aName, int aWidth, int aHeight, int aBytesPerPixel,
                             const QList<QPoint>& aChanges, const QRect& aExpected) {
            QTest::newRow(aName) << QSize(aWidth, aHeight) << aBytesPerPixel << aChanges
                                 << QRegion(aExpected);
        };
        lRow("identical", 320, 100, 4, {}, {});
        lRow("lone one-tile-wide group", 192, 32, 4, {}, {160, 0, 32, 32});
        lRow("one-tile-wide group joins a change", 192, 160, 4, {{130, 70}}, {128, 64, 64, 32});
        lRow("width 33", 33, 40, 4, {{0, 8}, {0, 9}}, {0, 0, 32, 32});
        lRow("3-byte pixels", 33, 40, 3, {{32, 20}}, {32, 0, 1, 32});
        lRow("trimmed to the changed tiles", 320, 320, 4, {{70, 40}, {260, 100}},
             {64, 32, 224, 96});
    }
    void everyLine()
    {
        QFETCH(QSize, size);
        QFETCH(int, bytesPerPixel);
        QFETCH(QList<QPoint>, changes);
        QTEST(mfRegion(32, size, bytesPerPixel, changes), "expected");
    }

    // One pass per call through the rotation 0, 4, ..., 28, 1, 5, ..., 31: a change is first
    // found on the call that samples its line (modulo the height of a short tile row).
    void onePassPerCall_data()
    {
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("call");
        QTest::newRow("line 13 of a full tile") << 64 << 13 << 12;
        QTest::newRow("line 7 of an 8-line tile") << 40 << 39 << 26;
    }
    void onePassPerCall()
    {
        QFETCH(int, height);
        QFETCH(int, line);
        mfRegion((32 - mvPasses % 32) % 32, QSize(64, height), 4, {}); // back to the first line
        int lCall = 1;
        while (lCall < 33 && mfRegion(1, QSize(64, height), 4, {{40, line}}).isEmpty())
            ++lCall;
        QTEST(lCall, "call");
    }
};

QTEST_GUILESS_MAIN(tst_UBXChangedRegion)
#include "tst_UBXChangedRegion.moc"
