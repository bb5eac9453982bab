#include "UBXFrameUpdateImage.h"

#include "UBXAssert.h"

#include "ICLoggerModel.h"

#include <cstdlib>
#include <cstring>

namespace {
uchar* gfAllocate(quint32 aBytes)
{
    return aBytes ? static_cast<uchar*>(std::malloc(aBytes)) : nullptr;
}
} // namespace

UBXFrameUpdateImage::~UBXFrameUpdateImage()
{
    mpClear();
}

void UBXFrameUpdateImage::mpSetProperties(unsigned int aWidth, unsigned int aHeight, Format aFormat)
{
    if (aWidth == mvWidth && aHeight == mvHeight && aFormat == mvFormat)
        return;
    mpClear();
    mvWidth = aWidth;
    mvHeight = aHeight;
    mvFormat = aFormat;
    mvOwnsData = true;
    switch (aFormat) {
    case ARGB32:
    case RGB888:
        mvPlaneCount = 1;
        mvStride[0] = (aFormat == ARGB32 ? 4 : 3) * aWidth;
        mvPlaneWidth[0] = aWidth;
        mvPlaneHeight[0] = aHeight;
        mvPlaneSize[0] = mvTotalSize = mvStride[0] * aHeight;
        mvData[0] = gfAllocate(mvPlaneSize[0]);
        break;
    case YUV420: {
        const quint32 lChromaWidth = aWidth / 2;
        const quint32 lChromaHeight = aHeight / 2;
        const quint32 lChromaStride = gfStride(lChromaWidth);
        mvPlaneCount = 3;
        for (int lPlane = 1; lPlane < 3; ++lPlane) {
            mvPlaneWidth[lPlane] = lChromaWidth;
            mvPlaneHeight[lPlane] = lChromaHeight;
            mvStride[lPlane] = lChromaStride;
            mvPlaneSize[lPlane] = lChromaWidth * lChromaHeight;
            mvData[lPlane] = gfAllocate(mvPlaneSize[lPlane]);
        }
        mvPlaneWidth[0] = aWidth & ~1u;
        mvPlaneHeight[0] = aHeight & ~1u;
        mvStride[0] = 2 * lChromaStride;
        mvPlaneSize[0] = 4 * lChromaWidth * lChromaHeight;
        mvData[0] = gfAllocate(mvPlaneSize[0]);
        mvTotalSize = 4 * lChromaWidth * lChromaHeight + lChromaWidth * (aHeight & ~1u);
        break;
    }
    default:
        UBX_ASSERT(0, "shared/libraries/UBXCommon/UBXFrameUpdate");
    }
}

void UBXFrameUpdateImage::mpAllocate(Format aFormat, quint32 aPlaneCount, quint32 aWidth,
                                     quint32 aHeight, const quint32* apStrides,
                                     const quint32* apPlaneWidths, const quint32* apPlaneHeights)
{
    mpClear();
    mvFormat = aFormat;
    mvPlaneCount = aPlaneCount;
    mvWidth = aWidth;
    mvHeight = aHeight;
    mvOwnsData = true;
    for (quint32 lPlane = 0; lPlane < aPlaneCount && lPlane < 3; ++lPlane) {
        mvStride[lPlane] = apStrides[lPlane];
        mvPlaneWidth[lPlane] = apPlaneWidths[lPlane];
        mvPlaneHeight[lPlane] = apPlaneHeights[lPlane];
        mvPlaneSize[lPlane] = apStrides[lPlane] * apPlaneHeights[lPlane];
        mvData[lPlane] = gfAllocate(mvPlaneSize[lPlane]);
    }
}

void UBXFrameUpdateImage::mpWrap(Format aFormat, quint32 aPlaneCount, quint32 aWidth,
                                 quint32 aHeight, const quint32* apStrides,
                                 const quint32* apPlaneWidths, const quint32* apPlaneHeights,
                                 uchar* const* apData)
{
    mpClear();
    mvFormat = aFormat;
    mvPlaneCount = aPlaneCount;
    mvWidth = aWidth;
    mvHeight = aHeight;
    mvOwnsData = false;
    for (quint32 lPlane = 0; lPlane < aPlaneCount && lPlane < 3; ++lPlane) {
        mvStride[lPlane] = apStrides[lPlane];
        mvPlaneWidth[lPlane] = apPlaneWidths[lPlane];
        mvPlaneHeight[lPlane] = apPlaneHeights[lPlane];
        mvData[lPlane] = apData[lPlane];
    }
}

void UBXFrameUpdateImage::mpWrap(Format aFormat, quint32 aWidth, quint32 aHeight, uchar* apData)
{
    mpClear();
    mvFormat = aFormat;
    mvPlaneCount = 1;
    mvWidth = aWidth;
    mvHeight = aHeight;
    mvOwnsData = false;
    mvPlaneWidth[0] = aWidth;
    mvPlaneHeight[0] = aHeight;
    if (aFormat == ARGB32)
        mvStride[0] = aWidth * 4;
    else if (aFormat == RGB888)
        mvStride[0] = aWidth * 3;
    mvData[0] = apData;
}

UBXFrameUpdateImage* UBXFrameUpdateImage::mfClone() const
{
    auto* lClone = new UBXFrameUpdateImage;
    lClone->mvFormat = mvFormat;
    lClone->mvPlaneCount = mvPlaneCount;
    lClone->mvWidth = mvWidth;
    lClone->mvHeight = mvHeight;
    lClone->mvTotalSize = mvTotalSize;
    for (int lPlane = 0; lPlane < 3; ++lPlane) {
        lClone->mvPlaneSize[lPlane] = mvPlaneSize[lPlane];
        lClone->mvStride[lPlane] = mvStride[lPlane];
        lClone->mvPlaneWidth[lPlane] = mvPlaneWidth[lPlane];
        lClone->mvPlaneHeight[lPlane] = mvPlaneHeight[lPlane];
        lClone->mvData[lPlane] = gfAllocate(mvPlaneSize[lPlane]);
    }
    return lClone;
}

void UBXFrameUpdateImage::mpClearContents()
{
    for (int lPlane = 0; lPlane < 3; ++lPlane) {
        if (mvData[lPlane])
            std::memset(mvData[lPlane], 0, mvPlaneSize[lPlane]);
    }
}

void UBXFrameUpdateImage::mpClear()
{
    for (int lPlane = 0; lPlane < 3; ++lPlane) {
        if (mvOwnsData)
            std::free(mvData[lPlane]);
        mvData[lPlane] = nullptr;
        mvPlaneSize[lPlane] = 0;
        mvPlaneWidth[lPlane] = 0;
        mvPlaneHeight[lPlane] = 0;
    }
    mvPlaneCount = 0;
    mvFormat = None;
    mvWidth = 0;
    mvHeight = 0;
    mvTotalSize = 0;
}

void UBXFrameUpdateImage::mpFromQImage(const QImage& aImage)
{
    Format lFormat = None;
    switch (aImage.format()) {
    case QImage::Format_ARGB32:
        lFormat = ARGB32;
        break;
    case QImage::Format_RGB888:
        lFormat = RGB888;
        break;
    case QImage::Format_RGB32:
        mpFromQImage(aImage.convertToFormat(QImage::Format_ARGB32));
        return;
    default:
        ICLoggerModel::instance()->mpLog(
            Warn, QStringLiteral("[UBXFrameUpdateImage::mpFromQImage] Image format (%1) not "
                                 "supported.")
                      .arg(int(aImage.format())));
        mpClear();
        return;
    }
    mpSetProperties(aImage.width(), aImage.height(), lFormat);
    if (mvData[0])
        std::memcpy(mvData[0], aImage.constBits(), mvTotalSize);
}

QImage UBXFrameUpdateImage::mfToQImage() const
{
    if (mvFormat != ARGB32)
        return QImage();
    return QImage(int(mvWidth), int(mvHeight), QImage::Format_ARGB32);
}
