// Changed-region detection on real 1920 x 1080 screens, against the plain
// memcmp of the whole frame that a full comparison would cost:
//   one pass on two identical frames (reads 1/32 of the lines),
//   32 passes on them (every line once),
//   one pass over each consecutive pair of the typing sequence.
#include "UBXChangedRegion.h"

#include <QDir>
#include <QImage>

#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

namespace {
const QString gcScreens = QStringLiteral(BEAMORA_DATA_DIR "/screens/");

// The screen as 4-byte pixels, or an empty image when the file is missing.
QImage gfLoadScreen(const QString& aPath)
{
    return QImage(aPath).convertToFormat(QImage::Format_RGB32);
}

struct IdenticalFrames
{
    QImage mvCurrent = gfLoadScreen(gcScreens + QStringLiteral("ui-docs-1.png"));
    QImage mvPrevious = mvCurrent.copy(); // a buffer of its own
};

const IdenticalFrames& gfIdenticalFrames()
{
    static const IdenticalFrames sFrames;
    return sFrames;
}

void BM_MemcmpWholeFrame(benchmark::State& aState)
{
    const IdenticalFrames& lFrames = gfIdenticalFrames();
    if (lFrames.mvCurrent.isNull())
        return aState.SkipWithError("screens not found");
    for (auto lUnused : aState)
        benchmark::DoNotOptimize(std::memcmp(lFrames.mvCurrent.constBits(),
                                             lFrames.mvPrevious.constBits(),
                                             size_t(lFrames.mvCurrent.sizeInBytes())));
    aState.SetBytesProcessed(int64_t(aState.iterations()) * lFrames.mvCurrent.sizeInBytes());
}
BENCHMARK(BM_MemcmpWholeFrame);

void BM_ChangedRegionIdentical(benchmark::State& aState)
{
    const IdenticalFrames& lFrames = gfIdenticalFrames();
    if (lFrames.mvCurrent.isNull())
        return aState.SkipWithError("screens not found");
    const int lPasses = int(aState.range(0));
    for (auto lUnused : aState)
        benchmark::DoNotOptimize(gfGetChangedRegion(lPasses, lFrames.mvCurrent.constBits(),
                                                    lFrames.mvPrevious.constBits(), 1920, 1080, 4));
}
BENCHMARK(BM_ChangedRegionIdentical)->Arg(1)->Arg(32);

// One pass per call, each call on the next pair of frames.
void BM_ChangedRegionTypingSequence(benchmark::State& aState)
{
    std::vector<QImage> lFrames;
    const QDir lDirectory(gcScreens + QStringLiteral("sequence-typing"));
    for (const QString& lName :
         lDirectory.entryList({QStringLiteral("*.png")}, QDir::Files, QDir::Name))
        lFrames.push_back(gfLoadScreen(lDirectory.filePath(lName)));
    if (lFrames.size() < 2)
        return aState.SkipWithError("sequence not found");
    size_t lPair = 0;
    int64_t lRectangles = 0;
    for (auto lUnused : aState) {
        const QRegion lRegion = gfGetChangedRegion(1, lFrames[lPair + 1].constBits(),
                                                   lFrames[lPair].constBits(), 1920, 1080, 4);
        lRectangles += lRegion.rectCount();
        lPair = (lPair + 1) % (lFrames.size() - 1);
    }
    aState.counters["rectangles/call"] =
        benchmark::Counter(double(lRectangles) / double(aState.iterations()));
}
BENCHMARK(BM_ChangedRegionTypingSequence);
} // namespace

BENCHMARK_MAIN();
