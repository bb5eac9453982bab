#include "LogCapture.h"
#include "UBXFrameUpdate.h"
#include "UBXFrameUpdateImage.h"
#include "UBXFrameUpdatePtr.h"
#include "UBXScreenGrabberDataWrapper.h"
#include "UBXScreenGrabberImage.h"
#include "UBXTimestampProxy.h"

#include <QtTest>

namespace {
// Reports its own deletion, which only the last release may cause.
template <typename Base> class Watched : public Base
{
public:
    template <typename... Args>
    explicit Watched(bool* apDeleted, Args... aArgs) : Base(aArgs...), mvDeleted(apDeleted)
    {}
    ~Watched() override { *mvDeleted = true; }
    bool* mvDeleted;
};

class FixedClock : public UBXTimestampProvider
{
public:
    qint64 mfGetTimestamp() override { return 4711; }
};
} // namespace

class tst_UBXFrameRecords : public QObject
{
    Q_OBJECT

private slots:
    // RGB888 lines add the remainder, not the amount missing to a multiple of 4. The
    // buffer shrinks without losing its bytes and grows zeroed.
    void grabBuffer()
    {
        UBXScreenGrabberImage lImage(0);
        for (const auto& [lWidth, lBytesPerLine] : {std::pair(1, 6u), {3, 10u}, {4, 12u}}) {
            QVERIFY(lImage.mpSetProperties(QSize(lWidth, 2), QImage::Format_RGB888));
            QCOMPARE(lImage.mfGetBytesPerLine(), lBytesPerLine);
            QCOMPARE(lImage.mfGetByteCount(), 2 * lBytesPerLine);
        }
        QVERIFY(lImage.mpSetProperties(QSize(8, 8), QImage::Format_RGB32));
        std::memset(lImage.mfGetData(), 0xAB, lImage.mfGetByteCount());
        uchar* const lBuffer = lImage.mfGetData();
        QVERIFY(lImage.mpSetProperties(QSize(2, 2), QImage::Format_RGB32));
        QCOMPARE(lImage.mfGetData(), lBuffer);
        QCOMPARE(lImage.mfGetData()[8 * 8 * 4 - 1], uchar(0xAB));
        QVERIFY(lImage.mpSetProperties(QSize(16, 16), QImage::Format_ARGB32));
        const QByteArray lBytes(reinterpret_cast<const char*>(lImage.mfGetData()), 16 * 16 * 4);
        QCOMPARE(lBytes, QByteArray(16 * 16 * 4, '\0'));
    }

    void yuvPlaneGeometry()
    {
        UBXFrameUpdateImage lImage;
        lImage.mpSetProperties(100, 50, UBXFrameUpdateImage::YUV420);
        QList<quint32> lGeometry{lImage.mfGetPlaneCount(), lImage.mfGetTotalSize()};
        for (int lPlane = 0; lPlane < 3; ++lPlane)
            lGeometry << lImage.mfGetPlaneWidth(lPlane) << lImage.mfGetPlaneHeight(lPlane)
                      << lImage.mfGetStride(lPlane) << lImage.mfGetPlaneSize(lPlane);
        QCOMPARE(lGeometry,
                 QList<quint32>({3, 7500, 100, 50, 128, 5000, 50, 25, 64, 1250, 50, 25, 64, 1250}));
    }

    void ownerTagsFollowTheCopies()
    {
        bool lDeleted = false;
        auto* lImage = new Watched<UBXScreenGrabberImage>(&lDeleted, 7);
        {
            UBXScreenGrabberDataWrapper lFirst(QStringLiteral("A"), lImage);
            {
                UBXScreenGrabberDataWrapper lSecond(lFirst);
                UBXScreenGrabberDataWrapper lThird(lSecond);
                QCOMPARE(lImage->mfGetOwners(), QVector<QString>({"A_00", "A_01", "A_02"}));
                // Self-assignment drops and retakes the reference as the next copy.
                UBXScreenGrabberDataWrapper& lAlias = lThird;
                lThird = lAlias;
                QCOMPARE(lImage->mfGetOwners(), QVector<QString>({"A_00", "A_01", "A_03"}));
            }
            QCOMPARE(lImage->mfGetOwners(), QVector<QString>({"A_00"}));
            QVERIFY(!lImage->mfIsShared());
        }
        QVERIFY(lDeleted);
    }

    void framesLiveAsLongAsTheirHandles()
    {
        bool lDeleted = false;
        auto* lFrame = new Watched<UBXFrameUpdate>(&lDeleted);
        const quint32 lNextId = UBXFrameUpdate().mfGetFrameId() + 1;
        QCOMPARE(lFrame->mfGetFrameId() + 2, lNextId);
        UBXFrameUpdatePtr lHandle(lFrame), lCopy(lHandle);
        QCOMPARE(lFrame->mfGetRefCount(), 2u);
        lCopy = UBXFrameUpdatePtr();
        QCOMPARE(lFrame->mfGetRefCount(), 1u);
        lHandle = UBXFrameUpdatePtr();
        QVERIFY(lDeleted);
    }

    void fromQImage()
    {
        QImage lSource(3, 2, QImage::Format_RGB32);
        lSource.fill(qRgb(1, 2, 3));
        UBXFrameUpdateImage lImage;
        lImage.mpFromQImage(lSource);
        QCOMPARE(lImage.mfGetFormat(), UBXFrameUpdateImage::ARGB32);
        QCOMPARE(
            QByteArray(reinterpret_cast<const char*>(lImage.mfGetData(0)), lImage.mfGetTotalSize()),
            QByteArray("\x03\x02\x01\xff").repeated(6));
        LogCapture lLog;
        lImage.mpFromQImage(QImage(4, 4, QImage::Format_Mono));
        QCOMPARE(lImage.mfGetFormat(), UBXFrameUpdateImage::None);
        QCOMPARE(lLog.mfTexts(Warn),
                 QStringList("[UBXFrameUpdateImage::mpFromQImage] Image format (1) not "
                             "supported."));
    }

    void proxyForwardsOrGivesZero()
    {
        UBXTimestampProxy lProxy;
        FixedClock lClock;
        const qint64 lWithout = lProxy.mfGetTimestamp();
        lProxy.mpSetProvider(&lClock);
        QCOMPARE(std::pair(lWithout, lProxy.mfGetTimestamp()), std::pair(qint64(0), qint64(4711)));
    }
};

QTEST_GUILESS_MAIN(tst_UBXFrameRecords)
#include "tst_UBXFrameRecords.moc"
