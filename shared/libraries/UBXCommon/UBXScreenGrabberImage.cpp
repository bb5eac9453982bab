#include "UBXScreenGrabberImage.h"

#include "UBXAssert.h"

#include "ICLoggerModel.h"

#include <cstdlib>
#include <cstring>

UBXScreenGrabberImage::UBXScreenGrabberImage(quint32 aType) : UBXScreenGrabberDataBase(aType)
{
    mpSetProperties(QSize(0, 0), QImage::Format_RGB32);
}

UBXScreenGrabberImage::~UBXScreenGrabberImage()
{
    std::free(mvData);
}

bool UBXScreenGrabberImage::mpSetProperties(QSize aSize, QImage::Format aFormat)
{
    if (aSize == mvSize && aFormat == mvFormat)
        return true;
    quint32 lBytesPerPixel = 0;
    quint32 lBytesPerLine = 0;
    switch (aFormat) {
    case QImage::Format_ARGB32:
    case QImage::Format_RGB32:
        lBytesPerPixel = 4;
        lBytesPerLine = 4 * aSize.width();
        break;
    case QImage::Format_RGB888:
        lBytesPerPixel = 3;
        lBytesPerLine = 3 * aSize.width() + (3 * aSize.width()) % 4;
        break;
    default:
        ICLoggerModel::instance()->mpLog(Error,
                                         QStringLiteral("Unhandled image format %1 in "
                                                        "UBXScreenGrabberImage::mpSetProperties.")
                                             .arg(int(aFormat)));
        UBX_ASSERT(0, "shared/libraries/UBXCommon/UBXDataStructures");
        return false;
    }
    const quint32 lByteCount = lBytesPerLine * aSize.height();
    if (lByteCount != 0 && lByteCount > quint32(mvCapacity)) {
        std::free(mvData);
        mvData = static_cast<uchar*>(std::malloc(lByteCount));
        if (!mvData) {
            mvCapacity = 0;
            ICLoggerModel::instance()->mpLog(
                Error, QStringLiteral("Could not allocate %1 bytes for image with format %2:%3:%4.")
                           .arg(lByteCount)
                           .arg(aSize.width())
                           .arg(aSize.height())
                           .arg(lBytesPerPixel));
            return false;
        }
        std::memset(mvData, 0, lByteCount);
        mvCapacity = qint32(lByteCount);
    }
    mvBytesPerPixel = lBytesPerPixel;
    mvBytesPerLine = lBytesPerLine;
    mvByteCount = lByteCount;
    mvSize = aSize;
    mvFormat = aFormat;
    return true;
}

void UBXScreenGrabberImage::mpClear()
{
    if (mvData)
        std::memset(mvData, 0, mvCapacity);
}

bool UBXScreenGrabberImage::mfSetFromQImage(const QImage& aImage)
{
    const QImage lImage = aImage.convertToFormat(QImage::Format_RGB32);
    if (!mpSetProperties(lImage.size(), QImage::Format_RGB32))
        return false;
    for (int lY = 0; lY < lImage.height(); ++lY)
        std::memcpy(mfGetScanLine(lY), lImage.constScanLine(lY), mvBytesPerLine);
    return true;
}

QImage UBXScreenGrabberImage::mfToQImage() const
{
    QImage lImage(mvSize, mvFormat);
    if (mvData && lImage.sizeInBytes() <= mvCapacity)
        std::memcpy(lImage.bits(), mvData, lImage.sizeInBytes());
    return lImage;
}
