// The fixed-spread blur with radius 2 on a 1920 x 1080 screen.
#include "UBXUtils.h"

#include <benchmark/benchmark.h>

namespace {
void BM_BlurImageRadius2(benchmark::State& aState)
{
    QImage lImage = QImage(QStringLiteral(BEAMORA_DATA_DIR "/screens/mixed-1.png"))
                        .convertToFormat(QImage::Format_ARGB32);
    if (lImage.isNull())
        return aState.SkipWithError("screen not found");
    for (auto lUnused : aState)
        gfBlurImage(&lImage, 2);
}
BENCHMARK(BM_BlurImageRadius2)->Unit(benchmark::kMillisecond);
} // namespace

BENCHMARK_MAIN();
