// The hybrid screen codec on real 1920 x 1080 screens, against TurboJPEG
// compressing and decompressing the same whole frame at quality 50 (4:2:0)
// as the yardstick. Beside it, QImage's JPEG writer on the same frame shows
// what the codec would pay per tile without TurboJPEG.
//   encode:    a whole frame, every pixel changed, with the codec's parallel
//              path; counters give bytes and the share of exact pixels;
//   sequence:  every frame of a sequence over the region gfGetChangedRegion
//              (32 passes) finds against the frame before; counters give the
//              median milliseconds and the mean bytes per frame;
//   decode:    the whole-frame streams of "encode" onto a canvas.
// Times are wall-clock; the CPU column is the whole process's CPU time, the
// codec's worker threads included, which holds better on a loaded machine.
#include "UBXChangedRegion.h"
#include "UBXFrameUpdate.h"
#include "UBXHybridCodec.h"
#include "UBXScreenGrabberImage.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QImage>

#include <benchmark/benchmark.h>
#include <turbojpeg.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {
const char* const sStills[] = {"ui-docs-1",  "ui-docs-2", "ui-docs-3", "terminal-1",
                               "terminal-2", "photo-1",   "mixed-1",   "mixed-2"};

QString gfScreens()
{
    return QStringLiteral(BEAMORA_DATA_DIR "/screens/");
}

std::unique_ptr<UBXScreenGrabberImage> gfGrab(const QString& aPath)
{
    auto lGrab = std::make_unique<UBXScreenGrabberImage>(0);
    lGrab->mfSetFromQImage(QImage(aPath));
    return lGrab;
}

QByteArray gfEncodeWhole(UBXHybridCodec& aCodec, UBXScreenGrabberImage& aGrab)
{
    const QSize lSize = aGrab.mfGetSize();
    aCodec.mpBeginFrame(lSize.width(), lSize.height());
    aCodec.mpEncodeRegion(&aGrab, QRegion(QRect(QPoint(0, 0), lSize)));
    aCodec.mpEndFrame();
    return *aCodec.mfGetOutput();
}

QByteArray gfTurboJpeg(tjhandle aHandle, const UBXScreenGrabberImage& aGrab)
{
    unsigned char* lJpeg = nullptr;
    unsigned long lSize = 0;
    tjCompress2(aHandle, aGrab.mfGetData(), aGrab.mfGetSize().width(),
                int(aGrab.mfGetBytesPerLine()), aGrab.mfGetSize().height(), TJPF_BGRX, &lJpeg,
                &lSize, TJSAMP_420, 50, 0);
    QByteArray lFile(reinterpret_cast<const char*>(lJpeg), qsizetype(lSize));
    tjFree(lJpeg);
    return lFile;
}

void BM_CodecEncodeWhole(benchmark::State& aState, const char* aStill, bool aCompress)
{
    auto lGrab = gfGrab(gfScreens() + aStill + ".png");
    UBXHybridCodec lCodec;
    lCodec.mpSetCompress(aCompress);
    QByteArray lStream;
    for (auto _ : aState) {
        // A fresh mode history each frame: every frame is the first whole one.
        lCodec.mpSetTileMode(UBXHybridCodec::HybridTiles);
        lStream = gfEncodeWhole(lCodec, *lGrab);
    }
    aState.counters["bytes"] = double(lStream.size());
    aState.counters["exact_share"] =
        double(lCodec.mfGetRlePixels()) / double(lCodec.mfGetTotalPixels());
    aState.counters["parallel"] = lCodec.mfIsParallel();
}

void BM_TurboJpegEncodeWhole(benchmark::State& aState, const char* aStill)
{
    auto lGrab = gfGrab(gfScreens() + aStill + ".png");
    tjhandle lHandle = tjInitCompress();
    QByteArray lFile;
    for (auto _ : aState)
        lFile = gfTurboJpeg(lHandle, *lGrab);
    tjDestroy(lHandle);
    aState.counters["bytes"] = double(lFile.size());
}

void BM_QImageJpegEncodeWhole(benchmark::State& aState, const char* aStill)
{
    const QImage lImage =
        QImage(gfScreens() + aStill + ".png").convertToFormat(QImage::Format_RGB32);
    QByteArray lFile;
    for (auto _ : aState) {
        lFile.clear();
        QBuffer lBuffer(&lFile);
        lBuffer.open(QIODevice::WriteOnly);
        lImage.save(&lBuffer, "jpeg", 50);
    }
    aState.counters["bytes"] = double(lFile.size());
}

void BM_CodecDecodeWhole(benchmark::State& aState, const char* aStill)
{
    auto lGrab = gfGrab(gfScreens() + aStill + ".png");
    UBXHybridCodec lEncoder;
    const QByteArray lStream = gfEncodeWhole(lEncoder, *lGrab);
    UBXHybridCodec lDecoder;
    UBXFrameUpdate lTarget;
    for (auto _ : aState) {
        QRegion lDirty;
        lDecoder.mpDecode(lStream, &lTarget, &lDirty, QRegion());
        benchmark::DoNotOptimize(lDirty);
    }
    aState.counters["parallel"] = lDecoder.mfIsParallel();
}

void BM_TurboJpegDecodeWhole(benchmark::State& aState, const char* aStill)
{
    auto lGrab = gfGrab(gfScreens() + aStill + ".png");
    tjhandle lCompressor = tjInitCompress();
    const QByteArray lFile = gfTurboJpeg(lCompressor, *lGrab);
    tjDestroy(lCompressor);
    tjhandle lHandle = tjInitDecompress();
    QImage lCanvas(lGrab->mfGetSize(), QImage::Format_ARGB32);
    for (auto _ : aState)
        tjDecompress2(lHandle, reinterpret_cast<const uchar*>(lFile.constData()),
                      (unsigned long)lFile.size(), lCanvas.bits(), lCanvas.width(),
                      int(lCanvas.bytesPerLine()), lCanvas.height(), TJPF_BGRA, 0);
    tjDestroy(lHandle);
}

// One pass over the sequence per iteration; the changed regions are found
// before timing starts.
void BM_CodecEncodeSequence(benchmark::State& aState, const char* aSequence)
{
    const QDir lDir(gfScreens() + aSequence);
    std::vector<std::unique_ptr<UBXScreenGrabberImage>> lGrabs;
    for (const QString& lName : lDir.entryList({"frame-*.png"}, QDir::Files, QDir::Name))
        lGrabs.push_back(gfGrab(lDir.filePath(lName)));
    const QSize lSize = lGrabs.front()->mfGetSize();
    std::vector<QRegion> lChanged;
    for (size_t lFrame = 1; lFrame < lGrabs.size(); ++lFrame)
        lChanged.push_back(gfGetChangedRegion(32, lGrabs[lFrame]->mfGetData(),
                                              lGrabs[lFrame - 1]->mfGetData(), lSize.width(),
                                              lSize.height(), 4));
    std::vector<double> lMilliseconds;
    double lBytes = 0;
    UBXHybridCodec lCodec;
    for (auto _ : aState) {
        gfEncodeWhole(lCodec, *lGrabs.front());
        for (size_t lFrame = 1; lFrame < lGrabs.size(); ++lFrame) {
            QElapsedTimer lTimer;
            lTimer.start();
            lCodec.mpBeginFrame(lSize.width(), lSize.height());
            lCodec.mpEncodeRegion(lGrabs[lFrame].get(), lChanged[lFrame - 1]);
            lCodec.mpEndFrame();
            lMilliseconds.push_back(lTimer.nsecsElapsed() / 1e6);
            lBytes += lCodec.mfGetOutput()->size();
        }
    }
    std::nth_element(lMilliseconds.begin(), lMilliseconds.begin() + lMilliseconds.size() / 2,
                     lMilliseconds.end());
    aState.counters["median_ms_per_frame"] = lMilliseconds[lMilliseconds.size() / 2];
    aState.counters["bytes_per_frame"] = lBytes / double(lMilliseconds.size());
}
} // namespace

int main(int argc, char** argv)
{
    QGuiApplication lApplication(argc, argv);
    for (const char* lStill : sStills) {
        const std::string lName(lStill);
        benchmark::RegisterBenchmark(("encode/codec/" + lName).c_str(), BM_CodecEncodeWhole, lStill,
                                     false)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        benchmark::RegisterBenchmark(("encode/codec+qCompress/" + lName).c_str(),
                                     BM_CodecEncodeWhole, lStill, true)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        benchmark::RegisterBenchmark(("encode/turbojpeg/" + lName).c_str(), BM_TurboJpegEncodeWhole,
                                     lStill)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        benchmark::RegisterBenchmark(("encode/qimage-jpeg/" + lName).c_str(),
                                     BM_QImageJpegEncodeWhole, lStill)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        benchmark::RegisterBenchmark(("decode/codec/" + lName).c_str(), BM_CodecDecodeWhole, lStill)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        benchmark::RegisterBenchmark(("decode/turbojpeg/" + lName).c_str(), BM_TurboJpegDecodeWhole,
                                     lStill)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
    }
    for (const char* lSequence : {"sequence-typing", "sequence-scrolling"})
        benchmark::RegisterBenchmark((std::string("sequence/codec/") + lSequence).c_str(),
                                     BM_CodecEncodeSequence, lSequence)
            ->Unit(benchmark::kMillisecond)
            ->MeasureProcessCPUTime()
            ->UseRealTime()
            ->Iterations(3);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
