#include "LauncherCore.h"

#include "ButtonDetector.h"
#include "ICConsoleLogger.h"
#include "ICLoggerFile.h"
#include "ICLoggerModel.h"
#include "LauncherSettings.h"
#include "UBXLocalCommunication.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>
#include <QTimer>

namespace {
const int sIdlePollIntervalMs = 500;
const int sPresentingPollIntervalMs = 3000;
constexpr QLatin1String sButtonManagerChannel("beamorabuttonmanager");
constexpr QLatin1String sClientChannel("beamoraclient");
constexpr QLatin1String sExitMessage("exit");
constexpr QLatin1String sLogFileName("service.log");
constexpr QLatin1String sBuildVersion("00.00.00.trunk-1315");
constexpr QLatin1String sBuildDate("Mar 17 2015");
constexpr QLatin1String sBuildTime("05:39:22");

void gpLog(qint32 aLevel, const QString& aText)
{
    ICLoggerModel::instance()->mpLog(aLevel, aText, 0);
}
} // namespace

LauncherCore::LauncherCore(bool aLoggingEnabled, qint32 aLogLevel)
    : mvLoggingEnabled(aLoggingEnabled), mvLogLevel(aLogLevel)
{
    ICLoggerModel* lModel = ICLoggerModel::instance();
    if (mvLoggingEnabled) {
        const QString lDataDirectory =
            QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation);
        QDir().mkpath(lDataDirectory);
        const QString lLogPath = QDir(lDataDirectory).absoluteFilePath(sLogFileName);
        mvFileLogger = new ICLoggerFile(lLogPath, 0, 0, 0, true);
        mvFileLogger->mpSetLevel(mvLogLevel);
        lModel->mpAddObserver(mvFileLogger, true);
    }
    mvConsoleLogger = new ICConsoleLogger;
    mvConsoleLogger->mpSetLevel(Debug);
    lModel->mpAddObserver(mvConsoleLogger, true);

    mpLogStartupBanner();

    mvDetector = new ButtonDetector;
    mvDetector->mpSetPollInterval(sIdlePollIntervalMs);
    connect(mvDetector, &ButtonDetector::sgButtonInserted, this, &LauncherCore::mpOnButtonInserted);
    connect(mvDetector, &ButtonDetector::sgButtonRemoved, this, &LauncherCore::mpOnButtonRemoved);
    mvDetector->mpStartDetection();
    // The process ends with exit() while this object lives on; the detector
    // must not be logging while the exit handlers take the log sinks down.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { mvDetector->mpStopDetection(); });

    mvClientProcess = new QProcess;
    // Nobody reads the client's output: it goes straight to the launcher's own
    // standard output and error instead of piling up in memory here.
    mvClientProcess->setProcessChannelMode(QProcess::ForwardedChannels);
    connect(mvClientProcess, &QProcess::finished, this, &LauncherCore::mpOnProcessFinished);

    mvKillTimer = new QTimer(this);
    mvKillTimer->setSingleShot(true);
    // A coarse timer may fire 5% early, three seconds of the promised minute.
    mvKillTimer->setTimerType(Qt::PreciseTimer);
    mvKillTimer->setInterval(gfClientExitDelayMs());
    connect(mvKillTimer, &QTimer::timeout, this, &LauncherCore::mpOnKillApplicationTimeout);
}

LauncherCore::~LauncherCore()
{
    mvKillTimer->stop();
    delete mvDetector;
    mvClientProcess->kill();
    delete mvClientProcess;
    ICLoggerModel::instance()->mpRemoveObserver(mvConsoleLogger);
    if (mvFileLogger)
        ICLoggerModel::instance()->mpRemoveObserver(mvFileLogger);
}

void LauncherCore::mpLogStartupBanner()
{
    gpLog(Info, QStringLiteral("Beamora Launcher started."));
    gpLog(Info, QStringLiteral("============================"));
    gpLog(Info, QStringLiteral("VERSION:%1").arg(sBuildVersion));
    gpLog(Info, QStringLiteral("BUILD:%1 %2").arg(sBuildDate, sBuildTime));
    gpLog(Info, QStringLiteral("CPU CORES:%1").arg(QThread::idealThreadCount()));
    gpLog(Info, QStringLiteral("OS VERSION:%1").arg(QStringLiteral("Unknown")));
}

void LauncherCore::mpOnButtonInserted(QString aApplicationPath)
{
    // The detector's path is ignored on purpose: the client is a fixed program.
    aApplicationPath = gfClientProgram();
    UBXLocalCommunication lManagerProbe(sButtonManagerChannel);
    lManagerProbe.mpStartCommunication(UBXStartAutomatic);
    if (lManagerProbe.gfGetRole() == UBXRoleServer) {
        gpLog(Debug, QStringLiteral("Beamora Button was inserted. Launching client process."));
        mvKillTimer->stop();
        mvDetector->mpSetPollInterval(sPresentingPollIntervalMs);
        mpLaunchClient(aApplicationPath);
    } else {
        gpLog(Info, QStringLiteral("Beamora Button was inserted. Not launching the client because "
                                   "an instance of Button Manager is running."));
    }
}

void LauncherCore::mpLaunchClient(const QString& aApplicationPath)
{
    mvClientProcess->setWorkingDirectory(QFileInfo(aApplicationPath).absolutePath());
    const QString lProgram = gfQuotedForCommandLine(aApplicationPath);
    if (!mvLoggingEnabled) {
        gpLog(Debug, QStringLiteral("Launching client process %1.").arg(aApplicationPath));
        mvClientProcess->startCommand(lProgram, QIODevice::ReadWrite);
        return;
    }
    const QString lLevelName = gfLevelToName(mvLogLevel);
    gpLog(Debug, QStringLiteral("Launching process %1 with logging enabled at level '%2'.")
                     .arg(aApplicationPath, lLevelName));
    mvClientProcess->startCommand(
        QStringLiteral("%1 -enablelogging -loglevel %2").arg(lProgram, lLevelName),
        QIODevice::ReadWrite);
}

void LauncherCore::mpOnButtonRemoved(bool aKillClientImmediately)
{
    if (aKillClientImmediately) {
        gpLog(Debug, QStringLiteral("Launcher is no longer on active console session. Killing "
                                    "client process immediately."));
        mpOnKillApplicationTimeout();
        return;
    }
    gpLog(Debug, QStringLiteral("Beamora Button was removed. Killing client process in 60 "
                                "seconds (unless dongle is inserted again)."));
    mvKillTimer->start();
    mvDetector->mpSetPollInterval(sIdlePollIntervalMs);
}

void LauncherCore::mpOnKillApplicationTimeout()
{
    gpLog(Debug, QStringLiteral("Exiting client process."));
    UBXLocalCommunication lClientChannel(sClientChannel);
    if (lClientChannel.mpStartCommunication(UBXStartClientOnly))
        lClientChannel.gpSendMessage(sExitMessage);
}

void LauncherCore::mpOnProcessFinished(int aExitCode, QProcess::ExitStatus aExitStatus)
{
    Q_UNUSED(aExitStatus);
    gpLog(Debug, QStringLiteral("Process finished. Exit code: %1").arg(aExitCode));
}
