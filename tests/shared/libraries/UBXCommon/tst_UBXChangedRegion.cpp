#include "UBXChangedRegion.h"

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
    void everyLine_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("bytesPerPixel");
        QTest::addColumn<QList<QPoint>>("changes");
        QTest::addColumn<QRegion>("expected");
        QTest::newRow("identical") << QSize(320, 100) << 4 << QList<QPoint>() << QRegion();
        QTest::newRow("lone one-tile-wide group")
            << QSize(192, 32) << 4 << QList<QPoint>() << QRegion(160, 0, 32, 32);
        QTest::newRow("one-tile-wide group joins a change")
            << QSize(192, 160) << 4 << QList<QPoint>{{130, 70}} << QRegion(128, 64, 64, 32);
        QTest::newRow("width 33") << QSize(33, 40) << 4 << QList<QPoint>{{0, 8}, {0, 9}}
                                  << QRegion(0, 0, 32, 32);
        QTest::newRow("3-byte pixels")
            << QSize(33, 40) << 3 << QList<QPoint>{{32, 20}} << QRegion(32, 0, 1, 32);
        QTest::newRow("trimmed to the changed tiles")
            << QSize(320, 320) << 4 << QList<QPoint>{{70, 40}, {260, 100}}
            << QRegion(64, 32, 224, 96);
    }
    void everyLine()
    {
        QFETCH(QSize, size);
        QFETCH(int, bytesPerPixel);
        QFETCH(QList<QPoint>, changes);
        QTEST(mfRegion(32, size, bytesPerPixel, changes), "expected");
    }

    // One pass per call through the rotation 0, 4, ..., 28, 1, 5, ..., 31: a
    // change is first found on the call that samples its line (the offset
    // taken modulo the height of a short tile row).
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
