#include "HybridCodecFuzzInput.h"

#include "UBXFrameUpdate.h"
#include "UBXHybridCodec.h"

#include <QByteArray>
#include <QRegion>

bool gfDecodeHybridStream(const uint8_t* apData, size_t aSize)
{
    const QByteArray lInput =
        QByteArray::fromRawData(reinterpret_cast<const char*>(apData), qsizetype(aSize));
    for (bool lParallel : {false, true}) {
        for (bool lCompress : {false, true}) {
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
