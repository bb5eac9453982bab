// CPU time that an idle detector costs: no desktop probes (neither Unity nor
// GNOME), no button, the 500 ms poll interval. Runs the thread for a while and
// scales the process's CPU time (the main thread only sleeps) to a minute.
#include "ButtonDetector.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <ctime>
#include <thread>

namespace {
constexpr int sRunSeconds = 20;

// Precise (scheduler run time of all threads), unlike the tick-sampled getrusage.
double gfProcessCpuMs()
{
    timespec lTime{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &lTime);
    return lTime.tv_sec * 1000.0 + lTime.tv_nsec / 1e6;
}

bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size();
}

// Argument 0: a kernel listing with one other storage host; argument 1: no
// listing, 20 devices in sysfs (kernels without the legacy interface).
void BM_IdleDetectorCpu(benchmark::State& aState)
{
    QTemporaryDir lRoot;
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("GDMSESSION");
    if (aState.range(0) == 0) {
        QDir().mkpath(lRoot.filePath(QStringLiteral("listing")));
        gfWriteFile(lRoot.filePath(QStringLiteral("listing/6")),
                    "   Host scsi6: usb-storage\n       Vendor: Generic\n"
                    "      Product: Flash Disk\nSerial Number: 0123456789AB\n");
        qputenv("BEAMORA_USB_STORAGE_DIR",
                QFile::encodeName(lRoot.filePath(QStringLiteral("listing"))));
    } else {
        qputenv("BEAMORA_USB_STORAGE_DIR",
                QFile::encodeName(lRoot.filePath(QStringLiteral("none"))));
        for (int lIndex = 1; lIndex <= 20; ++lIndex) {
            const QString lDevice = lRoot.filePath(QStringLiteral("sysfs/1-%1").arg(lIndex));
            QDir().mkpath(lDevice);
            gfWriteFile(lDevice + QStringLiteral("/manufacturer"), "Generic\n");
            gfWriteFile(lDevice + QStringLiteral("/product"), "Flash Disk\n");
        }
        qputenv("BEAMORA_SYSFS_USB_DIR",
                QFile::encodeName(lRoot.filePath(QStringLiteral("sysfs"))));
    }
    for (auto lDummy : aState) {
        ButtonDetector lDetector;
        lDetector.mpStartDetection();
        // Thread start-up and first-use costs are not part of the idle rate.
        std::this_thread::sleep_for(std::chrono::seconds(2));
        const double lStart = gfProcessCpuMs();
        std::this_thread::sleep_for(std::chrono::seconds(sRunSeconds));
        const double lCpuMs = gfProcessCpuMs() - lStart;
        lDetector.mpStopDetection();
        aState.counters["cpu_ms_per_min"] = lCpuMs * 60.0 / sRunSeconds;
    }
    qunsetenv("BEAMORA_USB_STORAGE_DIR");
    qunsetenv("BEAMORA_SYSFS_USB_DIR");
}
BENCHMARK(BM_IdleDetectorCpu)->Arg(0)->Arg(1)->Iterations(1)->Unit(benchmark::kMillisecond);
} // namespace

int main(int aArgc, char** aArgv)
{
    QCoreApplication lApplication(aArgc, aArgv);
    benchmark::Initialize(&aArgc, aArgv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
