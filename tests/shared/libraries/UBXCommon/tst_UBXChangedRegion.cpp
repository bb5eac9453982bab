#include "UBXChangedRegion.h"

#include <QtTest>

class tst_UBXChangedRegion : public QObject
{
    Q_OBJECT

    // Passes requested so far: the sampling rotation is process-wide and
    // starts at its first line.
    int mvPasses = 0;

    // Two frames of zero bytes in which current differs at the given pixels
    // and in every padding byte, which must never count.
    QRegion mfChangedRegion(int aPasses, int aWidth, int aHeight, int aBytesPerPixel,
                            const QList<QPoint>& aChanges)
    {
        const int lLine = aWidth * aBytesPerPixel, lStride = (lLine + 3) / 4 * 4;
        QByteArray lPrevious(lStride * aHeight, 0), lCurrent = lPrevious;
        for (int lY = 0; lY < aHeight; ++lY)
            lCurrent.replace(lY * lStride + lLine, lStride - lLine, QByteArray(lStride - lLine, 1));
        for (const QPoint& lChange : aChanges)
            lCurrent[lChange.y() * lStride + lChange.x() * aBytesPerPixel + aBytesPerPixel - 1] = 1;
        mvPasses += aPasses;
        return gfGetChangedRegion(aPasses, reinterpret_cast<const uchar*>(lCurrent.constData()),
                                  reinterpret_cast<const uchar*>(lPrevious.constData()), aWidth,
                                  aHeight, aBytesPerPixel);
    }

private slots:
    // Every line compared (32 passes).
    void fullCheck_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("bytesPerPixel");
        QTest::addColumn<QList<QPoint>>("changes");
        QTest::addColumn<QRegion>("expected");
        QTest::newRow("identical") << QSize(320, 100) << 4 << QList<QPoint>() << QRegion();
        QTest::newRow("one-tile-wide group, one tile row")
            << QSize(192, 32) << 4 << QList<QPoint>() << QRegion(160, 0, 32, 32);
        QTest::newRow("one-tile-wide group, five tile rows")
            << QSize(192, 160) << 4 << QList<QPoint>() << QRegion();
        QTest::newRow("one-tile-wide group joins a change")
            << QSize(192, 160) << 4 << QList<QPoint>{{130, 70}} << QRegion(128, 64, 64, 32);
        QTest::newRow("width 33, change in the next line")
            << QSize(33, 40) << 4 << QList<QPoint>{{0, 8}, {0, 9}} << QRegion(0, 0, 32, 32);
        QTest::newRow("width 33, last pixel")
            << QSize(33, 40) << 4 << QList<QPoint>{{32, 35}} << QRegion(32, 32, 1, 8);
        QTest::newRow("3-byte pixels, padded lines")
            << QSize(33, 40) << 3 << QList<QPoint>{{32, 20}} << QRegion(32, 0, 1, 32);
        QTest::newRow("trimmed across groups")
            << QSize(320, 320) << 4 << QList<QPoint>{{70, 40}, {260, 100}}
            << QRegion(64, 32, 224, 96);
        QTest::newRow("two groups apart")
            << QSize(320, 320) << 4 << QList<QPoint>{{70, 40}, {230, 200}}
            << (QRegion(64, 32, 32, 32) + QRegion(224, 192, 32, 32));
    }
    void fullCheck()
    {
        QFETCH(QSize, size);
        QFETCH(int, bytesPerPixel);
        QFETCH(QList<QPoint>, changes);
        QFETCH(QRegion, expected);
        QCOMPARE(mfChangedRegion(32, size.width(), size.height(), bytesPerPixel, changes),
                 expected);
    }

    // One pass per call: a change is found on the call whose sampled line
    // reaches it (line offsets 0, 4, ..., 28, 1, 5, ...; in a shorter last
    // tile row taken modulo its height), not before.
    void foundWhenItsLineIsSampled_data()
    {
        QTest::addColumn<int>("height");
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("call");
        QTest::newRow("line 13 of a full tile") << 64 << 13 << 11;
        QTest::newRow("line 5 of an 8-line tile") << 40 << 37 << 9;
        QTest::newRow("line 31") << 32 << 31 << 31;
    }
    void foundWhenItsLineIsSampled()
    {
        QFETCH(int, height);
        QFETCH(int, line);
        QFETCH(int, call);
        mfChangedRegion((32 - mvPasses % 32) % 32, 64, height, 4, {}); // back to the first line
        int lCall = 0;
        while (lCall < 32 && mfChangedRegion(1, 64, height, 4, {{40, line}}).isEmpty())
            ++lCall;
        QCOMPARE(lCall, call);
    }
};

QTEST_GUILESS_MAIN(tst_UBXChangedRegion)
#include "tst_UBXChangedRegion.moc"
