#include "ICLoggerLevel.h"
#include "ICLoggerModel.h"
#include "LauncherCore.h"
#include "LauncherSettings.h"
#include "ShutdownSignals.h"
#include "UBXLocalCommunication.h"
#include "UBXSystemProbes.h"

#include <QApplication>

#include <cstdio>
#include <cstdlib>

namespace {
struct LoggingSwitches
{
    bool mvLoggingEnabled = false;
    qint32 mvLogLevel = Debug;
};

// Every way out of the launcher ends with status 0, errors included.
[[noreturn]] void gpExit()
{
    std::fflush(stdout);
    std::exit(0);
}

LoggingSwitches gfParseSwitches(const QStringList& aArguments)
{
    LoggingSwitches lSwitches;
    for (int i = 1; i < aArguments.size(); ++i) {
        const QString& lArgument = aArguments.at(i);
        if (lArgument == QLatin1String("-enablelogging")) {
            lSwitches.mvLoggingEnabled = true;
            ICLoggerModel::instance()->mpLog(
                Debug, QStringLiteral("The 'enablelogging' command line parameter was passed."), 0);
        } else if (lArgument == QLatin1String("-loglevel")) {
            if (i + 1 >= aArguments.size()) {
                std::printf("ERROR: Too few arguments while defining log level.\n");
                gpExit();
            }
            const QString& lName = aArguments.at(++i);
            // "status" is refused here; an unknown word reads as "error".
            const qint32 lLevel = gfLevelFromName(lName);
            if (lLevel == Status) {
                std::printf("ERROR: \"%s\" is not a known log level.\n", qPrintable(lName));
                gpExit();
            }
            lSwitches.mvLogLevel = lLevel;
        } else {
            std::printf("ERROR: Invalid switch \"%s\"\n", qPrintable(lArgument));
        }
    }
    return lSwitches;
}

// The launcher has no window: without a display it runs on the offscreen
// platform instead of failing to start.
void gpChooseHeadlessPlatformWithoutDisplay()
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}
} // namespace

int main(int argc, char* argv[])
{
    gpChooseHeadlessPlatformWithoutDisplay();
    QApplication lApplication(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Lumora"));
    QCoreApplication::setOrganizationDomain(QStringLiteral("lumora.example"));
    QCoreApplication::setApplicationName(QStringLiteral("Beamora Launcher"));
    QCoreApplication::setApplicationVersion(QStringLiteral("0.10"));

    const QString lGuardName = gfInstanceGuardName(gfGetUserName());
    auto* lInstanceGuard = new UBXLocalCommunication(lGuardName);
    lInstanceGuard->mpStartCommunication(UBXStartAutomatic);
    switch (lInstanceGuard->gfGetRole()) {
    case UBXRoleServer:
        break;
    case UBXRoleClient:
        // Another launcher of this user runs: leave without a word.
        gpExit();
    default:
        // No logger is attached yet, so the console is the only place where
        // a user can learn why the launcher did not stay.
        std::printf("ERROR: Could not take the single-instance channel \"%s\".\n",
                    qPrintable(lGuardName));
        gpExit();
    }

    const LoggingSwitches lSwitches = gfParseSwitches(QCoreApplication::arguments());
    // Neither the core nor the application object is destroyed: the process
    // ends with exit() below, and the client keeps running.
    LauncherCore lCore(lSwitches.mvLoggingEnabled, lSwitches.mvLogLevel);
    ShutdownSignals lShutdownSignals;
    QObject::connect(&lShutdownSignals, &ShutdownSignals::sgShutdownRequested, &lApplication,
                     &QCoreApplication::quit);
    QApplication::exec();

    delete lInstanceGuard;
    gpExit();
}
