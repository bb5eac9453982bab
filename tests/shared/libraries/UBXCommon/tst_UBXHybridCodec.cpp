#include "LogCapture.h"
#include "SharedData.h"
#include "UBXFrameUpdate.h"
#include "UBXHybridCodec.h"
#include "UBXScreenGrabberImage.h"

#include <QPainter>
#include <QRandomGenerator>
#include <QtEndian>
#include <QtTest>

namespace {
const QRgb sRed = qRgb(255, 0, 0);
const QString sPhoto = QStringLiteral(BEAMORA_DATA_DIR "/screens/photo-1.png");

QByteArray gfEncode(UBXHybridCodec& aCodec, const QImage& aImage)
{
    UBXScreenGrabberImage lGrab(0);
    lGrab.mfSetFromQImage(aImage);
    aCodec.mpBeginFrame(aImage.width(), aImage.height());
    aCodec.mpEncodeRegion(&lGrab, QRegion(aImage.rect()));
    aCodec.mpEndFrame();
    return *aCodec.mfGetOutput();
}

QImage gfDecode(const QByteArray& aStream, bool aParallel, bool aCompress, QRegion aClip = {},
                qint64* apErrorOffset = nullptr)
{
    UBXHybridCodec lCodec;
    lCodec.mpSetParallel(aParallel);
    lCodec.mpSetCompress(aCompress);
    UBXFrameUpdate lTarget;
    lCodec.mpDecode(aStream, &lTarget, nullptr, aClip);
    if (apErrorOffset)
        *apErrorOffset = lCodec.mfGetDecodeErrorOffset();
    return *lCodec.mfGetCanvas();
}

// Window-like content of few colours, without anti-aliasing.
QImage gfFlatScreen()
{
    QImage lImage(300, 200, QImage::Format_RGB32);
    lImage.fill(qRgb(240, 240, 240));
    QPainter lPainter(&lImage);
    lPainter.fillRect(0, 0, 300, 24, qRgb(40, 60, 120));
    lPainter.fillRect(20, 40, 120, 90, Qt::white);
    lPainter.setPen(Qt::black);
    for (int lY = 50; lY < 120; lY += 8)
        lPainter.drawLine(30, lY, 30 + (lY * 7) % 100, lY);
    return lImage;
}

QImage gfNoise(int aWidth, int aHeight, int aColors)
{
    QImage lImage(aWidth, aHeight, QImage::Format_RGB32);
    QRandomGenerator lRandom(42);
    for (int lY = 0; lY < aHeight; ++lY) {
        for (int lX = 0; lX < aWidth; ++lX)
            lImage.setPixel(lX, lY, 0xFF000000u | (lRandom.bounded(aColors) * 0x010305u));
    }
    return lImage;
}

// Hand-built stream pieces in the wire layout.
QByteArray gfBytes(std::initializer_list<qint64> aValues, int aSize)
{
    QByteArray lBytes;
    for (qint64 lValue : aValues) {
        for (int lByte = aSize - 1; lByte >= 0; --lByte)
            lBytes.append(char((lValue >> (8 * lByte)) & 0xFF));
    }
    return lBytes;
}

QByteArray gfHeader(int aWidth, int aHeight)
{
    return gfBytes({7}, 4) + gfBytes({aWidth, aHeight}, 2);
}

QByteArray gfRle(int aX, int aY, int aWidth, int aHeight, std::initializer_list<qint64> aColors,
                 std::initializer_list<qint64> aSpans, int aSpanCount = -1)
{
    return gfBytes({0}, 1) + gfBytes({aX, aY, aWidth, aHeight}, 2) +
           gfBytes({qint64(aColors.size())}, 1) + gfBytes(aColors, 4) +
           gfBytes({aSpanCount < 0 ? qint64(aSpans.size() / 2) : aSpanCount}, 2) +
           gfBytes(aSpans, 1);
}
} // namespace

class tst_UBXHybridCodec : public QObject
{
    Q_OBJECT

private slots:
    // Run-length coded (exact) or not, decoded with a clip rectangle that must stay black.
    // Run-length coding gives up on a tile of 257 colours and, beyond a width
    // of 50, on one that goes over its budget.
    void roundTrip_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<bool>("parallel");
        QTest::addColumn<bool>("compress");
        QTest::addColumn<double>("minimumPsnr"); // 99: exact
        const QImage lPhoto = QImage(sPhoto).copy(0, 0, 300, 260);
        QTest::newRow("flat, sequential") << gfFlatScreen() << false << false << 99.0;
        QTest::newRow("flat, parallel, compressed") << gfFlatScreen() << true << true << 99.0;
        QTest::newRow("photo, sequential, compressed") << lPhoto << false << true << 30.0;
        QTest::newRow("photo, parallel") << lPhoto << true << false << 30.0;
        QTest::newRow("257 colours") << gfNoise(128, 128, 257) << false << false << 10.0;
        QTest::newRow("50 wide, never abandoned") << gfNoise(50, 128, 200) << true << false << 99.0;
        QTest::newRow("51 wide, abandoned") << gfNoise(51, 128, 200) << true << false << 10.0;
    }
    void roundTrip()
    {
        QFETCH(QImage, image);
        if (image.isNull())
            BEAMORA_SKIP_WITHOUT_SHARED_DATA(sPhoto);
        QFETCH(bool, parallel);
        QFETCH(bool, compress);
        QFETCH(double, minimumPsnr);
        UBXHybridCodec lCodec;
        lCodec.mpSetParallel(parallel);
        lCodec.mpSetCompress(compress);
        const QByteArray lStream = gfEncode(lCodec, image);
        QCOMPARE(lCodec.mfGetRlePixels() == lCodec.mfGetTotalPixels(), minimumPsnr == 99);
        const QRect lClip(10, 30, 50, 40);
        QImage lExpected = image.convertToFormat(QImage::Format_RGB32);
        QPainter(&lExpected).fillRect(lClip, Qt::black);
        const double lPsnr = gfPsnr(lExpected, gfDecode(lStream, parallel, compress, lClip));
        QVERIFY2(lPsnr >= minimumPsnr, QByteArray::number(lPsnr));
    }

    // 16384 pixels of one colour: 64 runs of 255 and one of 64.
    void oneColourTileBytes()
    {
        QImage lImage(128, 128, QImage::Format_RGB32);
        lImage.fill(0x123456);
        UBXHybridCodec lCodec;
        lCodec.mpSetHeaderValue(7);
        QByteArray lExpected = gfHeader(128, 128) + gfBytes({0}, 1) + gfBytes({0, 0, 128, 128}, 2) +
                               gfBytes({1}, 1) + gfBytes({0xFF123456}, 4) + gfBytes({65}, 2);
        for (int lRun = 0; lRun < 64; ++lRun)
            lExpected += gfBytes({0, 255}, 1);
        lExpected += gfBytes({0, 64}, 1);
        QCOMPARE(gfEncode(lCodec, lImage).toHex(), lExpected.toHex());
    }

    // Then the area sent as JPEG is sent again at refresh quality once still for 500 ms.
    void switchesToJpegOnTheEleventhFullJpegFrameAndRefreshes()
    {
        LogCapture lLog;
        UBXHybridCodec lCodec;
        const QImage lNoise = gfNoise(64, 64, 4096);
        for (int lFrame = 1; lFrame <= 11; ++lFrame) {
            QCOMPARE(lCodec.mfGetTileMode(), UBXHybridCodec::HybridTiles);
            gfEncode(lCodec, lNoise);
        }
        QCOMPARE(lCodec.mfGetTileMode(), UBXHybridCodec::JpegTiles);
        QVERIFY(lCodec.mfIsJpegState());
        QCOMPARE(lLog.mfTexts(Debug), QStringList("Video encoding switches to JPEG mode."));
        QVERIFY(lCodec.mfGetPendingRefreshCount() > 0);
        UBXScreenGrabberImage lGrab(0);
        lGrab.mfSetFromQImage(lNoise);
        lCodec.mpBeginFrame(64, 64);
        QVERIFY(!lCodec.mfUpdateQuality(100, &lGrab));
        bool lRefreshed = false; // QTRY evaluates once more after success
        QTRY_VERIFY_WITH_TIMEOUT(lRefreshed |= lCodec.mfUpdateQuality(100, &lGrab), 10000);
        QCOMPARE(lCodec.mfGetPendingRefreshCount(), 0);
        QCOMPARE(lCodec.mfGetOutput()->at(8), char(1));
    }

    // A block of an unknown type is skipped; palette indexes and runs paint in row order.
    void handBuiltStreamWithSkippedType()
    {
        const QByteArray lStream =
            gfHeader(4, 2) + gfBytes({3}, 1) + gfRle(1, 0, 2, 2, {sRed, 0xFF0000FF}, {0, 3, 1, 1});
        for (bool lParallel : {false, true}) {
            qint64 lError = 0;
            const QImage lCanvas = gfDecode(lStream, lParallel, false, {}, &lError);
            QCOMPARE(lError, -1);
            QImage lExpected(4, 2, QImage::Format_ARGB32);
            lExpected.fill(Qt::black);
            for (const QPoint& lRed : {QPoint(1, 0), QPoint(2, 0), QPoint(1, 1)})
                lExpected.setPixel(lRed, sRed);
            lExpected.setPixel(2, 1, qRgb(0, 0, 255));
            QCOMPARE(lCanvas, lExpected);
        }
    }

    // Each stream starts with a valid red block at (0, 0), then goes wrong.
    void hostileStreams_data()
    {
        QTest::addColumn<QByteArray>("stream");
        QTest::addColumn<bool>("compress");
        const QByteArray lGood = gfHeader(4, 2) + gfRle(0, 0, 1, 1, {sRed}, {0, 1});
        QTest::newRow("block outside canvas") << lGood + gfRle(3, 1, 2, 1, {sRed}, {0, 2}) << false;
        QTest::newRow("span past block") << lGood + gfRle(0, 1, 2, 1, {sRed}, {0, 255}) << false;
        QTest::newRow("index beyond palette")
            << lGood + gfRle(0, 1, 2, 1, {sRed}, {0, 1, 9, 1}) << false;
        QTest::newRow("truncated spans")
            << lGood + gfRle(0, 1, 2, 1, {sRed}, {0, 1}, 30000) << false;
        QTest::newRow("jpeg length 2^31-1")
            << lGood + gfBytes({1}, 1) + gfBytes({0x7FFFFFFF}, 4) + gfBytes({0, 0}, 2) << false;
        QTest::newRow("compressed garbage") << QByteArray("\x7f\xff\xff\xffgarbage") << true;
        QByteArray lBomb = qCompress(lGood + QByteArray(1 << 22, '\x03'));
        QTest::newRow("compressed beyond limit") << lBomb << true;
        QTest::newRow("canvas beyond 16384") << gfHeader(16385, 2) + lGood.mid(8) << false;
    }
    void hostileStreams()
    {
        QFETCH(QByteArray, stream);
        QFETCH(bool, compress);
        const bool lRefused =
            compress || QTest::currentDataTag() == QByteArray("canvas beyond 16384");
        for (bool lParallel : {false, true}) {
            qint64 lError = -1;
            const QImage lCanvas = gfDecode(stream, lParallel, compress, {}, &lError);
            QVERIFY(lError >= 0);
            QCOMPARE(lCanvas.isNull(), lRefused);
            if (!lRefused)
                QCOMPARE(lCanvas.pixel(0, 0), sRed);
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXHybridCodec)
#include "tst_UBXHybridCodec.moc"
