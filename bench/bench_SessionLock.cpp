// Cost of the session probe per detector cycle with logind on a private
// system bus (the fake services of the tests), against the yardstick of
// today's cycle, the USB poll of one storage host. Alongside, the same two
// properties read with one Get each instead of the probe's one GetAll. Process CPU time:
// Qt D-Bus does its socket work on a thread of its own. The fake session
// carries only the properties asked for; a real one answers GetAll with some
// thirty.
#include "UBXSystemProbes.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDBusVariant>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {
void BM_UsbPollYardstick(benchmark::State& aState)
{
    QTemporaryDir lListing;
    QFile lFile(lListing.filePath(QStringLiteral("6")));
    lFile.open(QIODevice::WriteOnly);
    lFile.write("   Host scsi6: usb-storage\n       Vendor: Generic\n      Product: Flash Disk\n");
    lFile.close();
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
BENCHMARK(BM_UsbPollYardstick)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);

// Unlocked and active: both properties are read.
void BM_SessionProbeLogind(benchmark::State& aState)
{
    if (gfGetSessionLockSources() != QLatin1String("logind"))
        aState.SkipWithError("no logind session on the private bus");
    for (auto lDummy : aState)
        benchmark::DoNotOptimize(gfIsSessionBlocked());
}
BENCHMARK(BM_SessionProbeLogind)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);

void BM_LogindGetEach(benchmark::State& aState)
{
    const auto lRead = [](const char* aProperty) {
        QDBusMessage lCall = QDBusMessage::createMethodCall(
            QStringLiteral("org.freedesktop.login1"),
            QStringLiteral("/org/freedesktop/login1/session/_31"),
            QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        lCall << QStringLiteral("org.freedesktop.login1.Session") << QString::fromLatin1(aProperty);
        return QDBusReply<QDBusVariant>(QDBusConnection::systemBus().call(lCall))
            .value()
            .variant()
            .toBool();
    };
    for (auto lDummy : aState)
        benchmark::DoNotOptimize(lRead("LockedHint") || !lRead("Active"));
}
BENCHMARK(BM_LogindGetEach)->MeasureProcessCPUTime()->Unit(benchmark::kMicrosecond);
} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    QProcess lServices;
    lServices.start(QStringLiteral(FAKE_SESSION_SERVICES_PATH));
    // The services print the address of the system bus first.
    while (!lServices.canReadLine() && lServices.waitForReadyRead(30000)) {
    }
    const QByteArray lSystemBus = lServices.readLine().trimmed();
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", lSystemBus.mid(lSystemBus.indexOf('=') + 1));
    qputenv("XDG_SESSION_ID", "1");
    qunsetenv("XDG_CURRENT_DESKTOP");
    qunsetenv("GDMSESSION");

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    lServices.closeWriteChannel();
    lServices.waitForFinished();
    return 0;
}
