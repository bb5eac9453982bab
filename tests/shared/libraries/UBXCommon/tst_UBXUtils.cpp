#include "LogCapture.h"
#include "UBXFunctionTrace.h"
#include "UBXUtils.h"

#include <QtTest>

class tst_UBXUtils : public QObject
{
    Q_OBJECT

private slots:
    void alphaChannel()
    {
        QImage lImage(5, 3, QImage::Format_ARGB32);
        lImage.fill(Qt::transparent);
        QVERIFY(!gfHasNonEmptyAlphaChannel(&lImage));
        lImage.setPixel(4, 2, qRgba(0, 0, 0, 1));
        QVERIFY(gfHasNonEmptyAlphaChannel(&lImage));
        QImage lRgb(5, 3, QImage::Format_RGB888); // 4-byte pixels would read a non-zero byte 3
        lRgb.fill(Qt::white);
        QVERIFY(!gfHasNonEmptyAlphaChannel(&lRgb));

        gpSetAlphaChannel(&lImage, 0x180);
        QCOMPARE(qAlpha(lImage.pixel(4, 2)), 0x80);
        QImage lMask(5, 3, QImage::Format_RGB32);
        lMask.fill(Qt::white);
        lMask.setPixel(1, 1, qRgb(254, 254, 254));
        gpApplyAlphaMask(&lRgb, lMask);
        QCOMPARE(lRgb.format(), QImage::Format_ARGB32);
        QCOMPARE(lRgb.pixel(1, 1), qRgba(255, 255, 255, 255));
        QCOMPARE(qAlpha(lRgb.pixel(4, 2)), 0);
        gpApplyAlphaMask(&lImage, lMask.copy(0, 0, 5, 2)); // sizes differ: nothing happens
        QCOMPARE(qAlpha(lImage.pixel(1, 1)), 0x80);
    }

    void blur_data()
    {
        QTest::addColumn<int>("radius");
        QTest::newRow("radius 0") << 0;
        QTest::newRow("radius 2") << 2;
    }
    // A uniform image keeps its interior (up to truncation); pixels within
    // radius of the top, right and bottom edges and within radius + 1 of the
    // left edge lose kernel cells and darken. Column 0 never contributes:
    // blacking it out changes no other column.
    void blur()
    {
        QFETCH(int, radius);
        QImage lImage(12, 9, QImage::Format_ARGB32);
        lImage.fill(qRgba(200, 100, 50, 255));
        QImage lBlackColumn = lImage;
        for (int lY = 0; lY < lImage.height(); ++lY)
            lBlackColumn.setPixel(0, lY, 0);
        gfBlurImage(&lImage, radius);
        gfBlurImage(&lBlackColumn, radius);
        QCOMPARE(lBlackColumn.copy(1, 0, 11, 9), lImage.copy(1, 0, 11, 9));
        for (int lY = 0; lY < lImage.height(); ++lY) {
            for (int lX = 0; lX < lImage.width(); ++lX) {
                const QRgb lPixel = lImage.pixel(lX, lY);
                const bool lEdge = radius > 0 && (lX <= radius || lX >= 12 - radius ||
                                                  lY < radius || lY >= 9 - radius);
                QVERIFY2(lEdge ? qAlpha(lPixel) < 254 && qRed(lPixel) < 199
                               : qAlpha(lPixel) >= 254 && qRed(lPixel) >= 199,
                         qPrintable(QStringLiteral("pixel %1,%2").arg(lX).arg(lY)));
            }
        }
    }

    // The kernel's centre lies half a cell right of and below its middle:
    // a lone bright pixel spreads equally onto itself and the pixels up and
    // left of it, less onto those down and right.
    void blurCentreIsOffByHalfACell()
    {
        QImage lImage(9, 9, QImage::Format_ARGB32);
        lImage.fill(0);
        lImage.setPixel(4, 4, qRgba(255, 255, 255, 255));
        gfBlurImage(&lImage, 1);
        QCOMPARE(lImage.pixel(3, 3), lImage.pixel(4, 4));
        QVERIFY(qAlpha(lImage.pixel(5, 5)) < qAlpha(lImage.pixel(4, 4)));
    }

    void packingAndRounding()
    {
        uchar lBytes[8];
        gpWrite32BE(lBytes, 0x01020304);
        QCOMPARE(QByteArray(reinterpret_cast<char*>(lBytes), 4), QByteArray("\1\2\3\4"));
        gpWrite64BE(lBytes, Q_UINT64_C(0x8000000000000102));
        QCOMPARE(gfRead64BE(lBytes), Q_UINT64_C(0x8000000000000102));
        QCOMPARE(gfRead16BE(lBytes + 6), quint16(0x0102));
        gpWrite16BE(lBytes, 0xA1B2);
        QCOMPARE(gfRead32BE(lBytes), 0xA1B20000u);
        QCOMPARE(gfRoundUpToMultiple(10, 4), 12u);
        QCOMPARE(gfRoundUpToMultiple(12, 4), 12u);
        QCOMPARE(gfRoundDownToMultiple(10, 4), 8u);
    }

    void logLines()
    {
        LogCapture lLog;
        QVERIFY(QRegularExpression("^\\{\\d+\\}$").match(gfCreateUniqueId()).hasMatch());
        QVERIFY(gfCreateUniqueId() != gfCreateUniqueId());
        {
            UBXFunctionTrace lTrace(QStringLiteral("f"));
            gpLogImageChannelOrder(QImage::Format_ARGB32);
        }
        QCOMPARE(lLog.mfTexts(Debug).mid(0, 5),
                 QStringList({"Entering f.", "Channel[red]: (0, 0, 255, 255)",
                              "Channel[green]: (0, 255, 0, 255)", "Channel[blue]: (255, 0, 0, 255)",
                              "Channel[alpha]: (0, 0, 0, 255)"}));
        QVERIFY(QRegularExpression("^Leaving f\\. Function took \\d+ ms\\.$")
                    .match(lLog.mfTexts(Debug).value(5))
                    .hasMatch());
    }
};

QTEST_MAIN(tst_UBXUtils)
#include "tst_UBXUtils.moc"
