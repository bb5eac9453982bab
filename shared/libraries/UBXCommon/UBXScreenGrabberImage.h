#ifndef UBXSCREENGRABBERIMAGE_H
#define UBXSCREENGRABBERIMAGE_H

#include "UBXScreenGrabberDataBase.h"

#include <QImage>
#include <QSize>

// A screen grab in RGB32, ARGB32 or RGB888. The buffer grows when a larger
// picture needs it (new bytes zeroed) and never shrinks, so a steady capture
// allocates nothing. RGB888 lines take 3 x width bytes plus the remainder of
// that modulo 4 (not the round-up to 4): the buffers of every producer and
// consumer are laid out by this rule.
class UBXCOMMON_EXPORT UBXScreenGrabberImage : public UBXScreenGrabberDataBase
{
public:
    explicit UBXScreenGrabberImage(quint32 aType);
    ~UBXScreenGrabberImage() override;

    // False when the buffer could not be allocated; size and format then stay.
    bool mpSetProperties(QSize aSize, QImage::Format aFormat);
    void mpClear();
    // Takes the picture as 32-bit RGB; false when the buffer cannot hold it.
    bool mfSetFromQImage(const QImage& aImage);
    // A copy of the pixels, or an uninitialised image when they do not fit.
    QImage mfToQImage() const;

    quint32 mfGetByteCount() const { return mvByteCount; }
    int mfGetWidth() const { return mvSize.width(); }
    quint32 mfGetBytesPerPixel() const { return mvBytesPerPixel; }
    quint32 mfGetBytesPerLine() const { return mvBytesPerLine; }
    QSize mfGetSize() const { return mvSize; }
    QImage::Format mfGetFormat() const { return mvFormat; }
    uchar* mfGetData() const { return mvData; }
    uchar* mfGetScanLine(int aY) const { return mvData + aY * mvBytesPerLine; }

private:
    uchar* mvData = nullptr;
    qint32 mvCapacity = 0;
    QSize mvSize{-1, -1};
    QImage::Format mvFormat = QImage::Format_Invalid;
    quint32 mvByteCount = 0;
    quint32 mvBytesPerLine = 0;
    quint32 mvBytesPerPixel = 0;
};

#endif
