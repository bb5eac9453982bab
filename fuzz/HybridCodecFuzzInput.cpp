#include "HybridCodecFuzzInput.h"

#include "UBXFrameUpdate.h"
#include "UBXHybridCodec.h"

#include <QByteArray>
#include <QRegion>
#include <QtEndian>

#include <zlib.h>

#include <cstring>

namespace {
// Canvases up to 16384 x 16384 are legal and decode like small ones; beyond
// this size they would only slow the search down by filling up to 1 GiB.
const qint64 sLargestSearchedCanvas = qint64(1) << 22;

// The canvas size a frame announces in its first 8 bytes, inflated first for
// a compressed frame; 0 when they cannot be read.
qint64 gfAnnouncedPixels(const QByteArray& aInput, bool aCompressed)
{
    uchar lHeader[8];
    if (!aCompressed) {
        if (aInput.size() < 8)
            return 0;
        std::memcpy(lHeader, aInput.constData(), 8);
    } else {
        z_stream lStream{};
        if (aInput.size() < 5 || inflateInit(&lStream) != Z_OK)
            return 0;
        lStream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(aInput.constData() + 4));
        lStream.avail_in = uInt(aInput.size() - 4);
        lStream.next_out = lHeader;
        lStream.avail_out = 8;
        inflate(&lStream, Z_SYNC_FLUSH);
        const bool lComplete = lStream.avail_out == 0;
        inflateEnd(&lStream);
        if (!lComplete)
            return 0;
    }
    return qint64(qMax<qint16>(0, qFromBigEndian<qint16>(lHeader + 4))) *
           qMax<qint16>(0, qFromBigEndian<qint16>(lHeader + 6));
}
} // namespace

bool gfDecodeHybridStream(const uint8_t* apData, size_t aSize)
{
    const QByteArray lInput =
        QByteArray::fromRawData(reinterpret_cast<const char*>(apData), qsizetype(aSize));
    for (bool lParallel : {false, true}) {
        for (bool lCompress : {false, true}) {
            if (gfAnnouncedPixels(lInput, lCompress) > sLargestSearchedCanvas)
                continue;
            UBXHybridCodec lCodec;
            lCodec.mpSetParallel(lParallel);
            lCodec.mpSetCompress(lCompress);
            UBXFrameUpdate lTarget;
            QRegion lDirty;
            // A clip in one corner sends run-length blocks through both paths.
            lCodec.mpDecode(lInput, &lTarget, &lDirty, QRegion(0, 0, 8, 8));
            const QImage* lCanvas = lCodec.mfGetCanvas();
            if (lCanvas->width() > UBXHybridCodec::gcMaxCanvasSide ||
                lCanvas->height() > UBXHybridCodec::gcMaxCanvasSide)
                return false;
            if (!(lDirty - QRegion(lCanvas->rect())).isEmpty())
                return false;
        }
    }
    return true;
}
