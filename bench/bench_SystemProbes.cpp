// Cost of one USB poll of the button detector: the kernel listing with 0, 1
// and 8 storage hosts, and the sysfs attributes of 20 devices. No file names
// the button, so every call reads everything.
#include "UBXSystemProbes.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {
bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size();
}

void BM_DetectDevice(benchmark::State& aState)
{
    QTemporaryDir lListing;
    for (int lIndex = 0; lIndex < aState.range(0); ++lIndex)
        gfWriteFile(lListing.filePath(QString::number(lIndex + 6)),
                    "   Host scsi" + QByteArray::number(lIndex + 6) +
                        ": usb-storage\n       Vendor: Generic\n      Product: Flash Disk\n"
                        "Serial Number: 0123456789AB\n     Protocol: Transparent SCSI\n"
                        "    Transport: Bulk\n       Quirks:\n");
    qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(lListing.path()));
    const QString lVendor = QStringLiteral("Lumora");
    const QString lProduct = QStringLiteral("Beamora");
    const QString lUnused;
    QString lPath;
    for (auto lDummy : aState)
        benchmark::DoNotOptimize(
            gpDetectDevice(lVendor, lUnused, lProduct, lUnused, lUnused, lPath));
    qunsetenv("BEAMORA_USB_STORAGE_DIR");
}
BENCHMARK(BM_DetectDevice)->Arg(0)->Arg(1)->Arg(8)->Unit(benchmark::kMicrosecond);

void BM_DetectSysfsUsbDevice(benchmark::State& aState)
{
    QTemporaryDir lRoot;
    QDir().mkpath(lRoot.filePath(QStringLiteral("bus")));
    for (int lIndex = 0; lIndex < aState.range(0); ++lIndex) {
        const QString lName = QStringLiteral("1-%1").arg(lIndex + 1);
        const QString lDevice = lRoot.filePath(QStringLiteral("devices/") + lName);
        QDir().mkpath(lDevice);
        QFile::link(lDevice, lRoot.filePath(QStringLiteral("bus/") + lName));
        gfWriteFile(lDevice + QStringLiteral("/manufacturer"), "Generic\n");
        gfWriteFile(lDevice + QStringLiteral("/product"), "Flash Disk\n");
    }
    qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lRoot.filePath(QStringLiteral("bus"))));
    const QString lVendor = QStringLiteral("Lumora");
    const QString lProduct = QStringLiteral("Beamora");
    for (auto lDummy : aState)
        benchmark::DoNotOptimize(gfDetectSysfsUsbDevice(lVendor, lProduct));
    qunsetenv("BEAMORA_SYSFS_USB_DIR");
}
BENCHMARK(BM_DetectSysfsUsbDevice)->Arg(20)->Unit(benchmark::kMicrosecond);
} // namespace

BENCHMARK_MAIN();
