#include "UBXUtils.h"

#include <QtTest>

class tst_UBXUtils : public QObject
{
    Q_OBJECT

private slots:
    // Only 4-byte pixels carry alpha; one pixel with any is enough.
    void alpha()
    {
        QImage lImage(5, 3, QImage::Format_ARGB32), lRgb(5, 3, QImage::Format_RGB888);
        lImage.fill(Qt::transparent);
        lRgb.fill(Qt::white);
        QVERIFY(!gfHasNonEmptyAlphaChannel(&lImage) && !gfHasNonEmptyAlphaChannel(&lRgb));
        lImage.setPixel(4, 2, qRgba(0, 0, 0, 1));
        QVERIFY(gfHasNonEmptyAlphaChannel(&lImage));
    }

    // A uniform image keeps its interior; it darkens within the radius of the top, right and
    // bottom edges and within radius + 1 of the left one (column 0 never contributes).
    void blur()
    {
        QImage lImage(12, 9, QImage::Format_ARGB32);
        lImage.fill(qRgba(200, 100, 50, 255));
        gfBlurImage(&lImage, 2);
        for (int lY = 0; lY < 9; ++lY)
            for (int lX = 0; lX < 12; ++lX)
                QCOMPARE(qRed(lImage.pixel(lX, lY)) < 199 && qAlpha(lImage.pixel(lX, lY)) < 254,
                         lX <= 2 || lX >= 10 || lY < 2 || lY >= 7);
    }

    void packingAndRounding()
    {
        uchar lBytes[8];
        gpWrite32BE(lBytes, 0x01020304);
        gpWrite32BE(lBytes + 4, gfRead16BE(lBytes + 2) + 0xF0000000u);
        QCOMPARE(gfRead64BE(lBytes), Q_UINT64_C(0x01020304F0000304));
        QCOMPARE(gfRoundUpToMultiple(10, 4) + gfRoundUpToMultiple(12, 4), 24u);
        QCOMPARE(gfRoundDownToMultiple(10, 4), 8u);
    }
};

QTEST_GUILESS_MAIN(tst_UBXUtils)
#include "tst_UBXUtils.moc"
