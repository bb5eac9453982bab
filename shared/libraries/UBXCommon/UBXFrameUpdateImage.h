#ifndef UBXFRAMEUPDATEIMAGE_H
#define UBXFRAMEUPDATEIMAGE_H

#include "UBXCommonExport.h"

#include <QImage>

// A picture of up to three planes. Packed layouts have one plane; the YUV
// 4:2:0 layout has a full-size luma plane and two quarter-size chroma planes
// whose strides are padded to 32 bytes while their buffers are sized from the
// unpadded widths (callers rely on exactly these sizes). Buffers are
// allocated with malloc; a record that wraps foreign buffers never frees them.
class UBXCOMMON_EXPORT UBXFrameUpdateImage
{
public:
    enum Format : quint32
    {
        None = 0,
        ARGB32 = 1,
        RGB888 = 2,
        YUV420 = 3
    };

    UBXFrameUpdateImage() = default;
    ~UBXFrameUpdateImage();
    UBXFrameUpdateImage(const UBXFrameUpdateImage&) = delete;
    UBXFrameUpdateImage& operator=(const UBXFrameUpdateImage&) = delete;

    // Allocates owned planes for the layout; nothing happens when size and
    // format are already these.
    void mpSetProperties(unsigned int aWidth, unsigned int aHeight, Format aFormat);
    // Owned planes of stride x plane height bytes each.
    void mpAllocate(Format aFormat, quint32 aPlaneCount, quint32 aWidth, quint32 aHeight,
                    const quint32* apStrides, const quint32* apPlaneWidths,
                    const quint32* apPlaneHeights);
    // Foreign planes; their sizes stay 0 because they are not known.
    void mpWrap(Format aFormat, quint32 aPlaneCount, quint32 aWidth, quint32 aHeight,
                const quint32* apStrides, const quint32* apPlaneWidths,
                const quint32* apPlaneHeights, uchar* const* apData);
    // One foreign packed buffer of format 1 or 2 without line padding.
    void mpWrap(Format aFormat, quint32 aWidth, quint32 aHeight, uchar* apData);
    // Same geometry with fresh owned buffers; the pixels are not copied.
    UBXFrameUpdateImage* mfClone() const;
    void mpClearContents();
    void mpClear();
    // Takes the bytes of an ARGB32, RGB888 or RGB32 image as one block, so
    // the image must not pad its lines beyond the record's stride.
    void mpFromQImage(const QImage& aImage);
    // For format 1 an ARGB32 image of the record's size whose pixels are left
    // for the caller to fill; a null image otherwise.
    QImage mfToQImage() const;

    static quint32 gfStride(quint32 aBytes) { return (aBytes + 31) & ~31u; }

    Format mfGetFormat() const { return mvFormat; }
    quint32 mfGetPlaneCount() const { return mvPlaneCount; }
    quint32 mfGetWidth() const { return mvWidth; }
    quint32 mfGetHeight() const { return mvHeight; }
    quint32 mfGetTotalSize() const { return mvTotalSize; }
    uchar* mfGetData(int aPlane) const { return mvData[aPlane]; }
    quint32 mfGetPlaneSize(int aPlane) const { return mvPlaneSize[aPlane]; }
    quint32 mfGetStride(int aPlane) const { return mvStride[aPlane]; }
    quint32 mfGetPlaneWidth(int aPlane) const { return mvPlaneWidth[aPlane]; }
    quint32 mfGetPlaneHeight(int aPlane) const { return mvPlaneHeight[aPlane]; }
    bool mfOwnsData() const { return mvOwnsData; }

private:
    Format mvFormat = None;
    quint32 mvPlaneCount = 0;
    quint32 mvWidth = 0;
    quint32 mvHeight = 0;
    quint32 mvTotalSize = 0;
    uchar* mvData[3] = {nullptr, nullptr, nullptr};
    quint32 mvPlaneSize[3] = {0, 0, 0};
    quint32 mvStride[3] = {0, 0, 0};
    quint32 mvPlaneWidth[3] = {0, 0, 0};
    quint32 mvPlaneHeight[3] = {0, 0, 0};
    bool mvOwnsData = true;
};

#endif
