#include "ImageSequenceFuzzInput.h"

#include "ImageSequence.h"

namespace {
bool gfKeepsRules(const ImageSequence& aSequence, bool abLoaded)
{
    if (!abLoaded && aSequence.mfGetFrameCount() != 0)
        return false;
    qint64 lBytes = 0;
    for (int lIndex = 0; lIndex < aSequence.mfGetFrameCount(); ++lIndex) {
        const QImage lFrame = aSequence.mfGetFrame(lIndex);
        if (lFrame.isNull())
            return false;
        lBytes += lFrame.sizeInBytes();
    }
    return lBytes <= ImageSequence::mcMaxFrameBytes;
}
} // namespace

bool gfFeedImageSequence(const uint8_t* apData, size_t aSize)
{
    const QByteArray lData =
        QByteArray::fromRawData(reinterpret_cast<const char*>(apData), qsizetype(aSize));
    ImageSequence lSequence;
    if (!gfKeepsRules(lSequence, lSequence.mfLoadFromCompressedData(lData)))
        return false;
    return gfKeepsRules(lSequence, lSequence.mfLoadFromData(lData));
}
