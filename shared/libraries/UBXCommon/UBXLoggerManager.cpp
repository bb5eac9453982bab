#include "UBXLoggerManager.h"

#include "ICConsoleLogger.h"
#include "ICLoggerFile.h"
#include "ICLoggerModel.h"
#include "ICSysLogger.h"

#include <cstdio>

namespace {
const qint32 sFileSinkLevel = Error;
const quint32 sFileSinkMaxSizeKb = 0;
const qint32 sFileSinkBackups = 0;

void gpPrint(const char* aText)
{
    std::fputs(aText, stdout);
    std::fflush(stdout);
}
} // namespace

UBXLoggerManager::UBXLoggerManager(const QStringList& aArguments)
{
    qInstallMessageHandler(gpQtMessageHandler);
    mpParseArguments(aArguments);
}

UBXLoggerManager::~UBXLoggerManager()
{
    const QVector<ICLoggerObserver*> lSinks = mvSinks;
    for (ICLoggerObserver* lSink : lSinks)
        ICLoggerModel::instance()->mpRemoveObserver(lSink);
}

void UBXLoggerManager::mpParseArguments(const QStringList& aArguments)
{
    QString lFileName = QStringLiteral("baseunit.txt");
    bool lConsole = false;
    bool lFile = false;
    bool lSys = false;
    for (int i = 0; i < aArguments.size(); ++i) {
        const QString& lArgument = aArguments.at(i);
        if (lArgument == QLatin1String("-debuglogging")) {
            mvLevel = Debug;
            gpPrint("The 'debuglogging' command line parameter was passed.\n");
        } else if (lArgument == QLatin1String("-filelogging")) {
            lFile = true;
            gpPrint("The 'filelogging' command line parameter was passed.\n");
        } else if (lArgument == QLatin1String("-logfile")) {
            gpPrint("The 'logfile' command line parameter was passed.");
            if (i + 1 >= aArguments.size()) {
                gpPrint("ERROR: Too few arguments while defining log file name\n");
                break;
            }
            lFileName = aArguments.at(++i);
        } else if (lArgument == QLatin1String("-consolelogging")) {
            lConsole = true;
            gpPrint("The 'consolelogging' command line parameter was passed.");
        } else if (lArgument == QLatin1String("-syslogging")) {
            lSys = true;
            gpPrint("The 'syslogging' command line parameter was passed.");
        }
    }
    if (lConsole)
        mpEnableConsoleLogging();
    if (lFile)
        mpEnableFileLogging(lFileName);
    if (lSys)
        mpEnableSysLogging();
}

void UBXLoggerManager::mpRegisterSink(ICLoggerObserver* apSink)
{
    apSink->mpSetLevel(mvLevel);
    ICLoggerModel::instance()->mpAddObserver(apSink, true);
    mvSinks.append(apSink);
}

void UBXLoggerManager::mpUnregisterSink(ICLoggerObserver* apSink)
{
    // Out of the records first: the model destroys the sink, and the level
    // setter and the destructor walk the records.
    mvSinks.removeOne(apSink);
    ICLoggerModel::instance()->mpRemoveObserver(apSink);
}

void UBXLoggerManager::mpEnableConsoleLogging()
{
    mpDisableConsoleLogging();
    mvConsoleSink = new ICConsoleLogger;
    mpRegisterSink(mvConsoleSink);
}

void UBXLoggerManager::mpDisableConsoleLogging()
{
    mpDisableSink(mvConsoleSink);
}

bool UBXLoggerManager::mfIsConsoleLogging() const
{
    return mvConsoleSink != nullptr;
}

void UBXLoggerManager::mpEnableFileLogging(const QString& aFileName)
{
    mpDisableFileLogging();
    mvFileSink =
        new ICLoggerFile(aFileName, sFileSinkLevel, sFileSinkMaxSizeKb, sFileSinkBackups, true);
    mvFileName = aFileName;
    mpRegisterSink(mvFileSink);
}

void UBXLoggerManager::mpDisableFileLogging()
{
    mpDisableSink(mvFileSink);
    mvFileName.clear();
}

bool UBXLoggerManager::mfGetLogFileName(QString& aFileName) const
{
    if (!mvFileSink)
        return false;
    aFileName = mvFileName;
    return true;
}

void UBXLoggerManager::mpEnableSysLogging()
{
    mpDisableSysLogging();
    mvSysSink = new ICSysLogger;
    mpRegisterSink(mvSysSink);
}

void UBXLoggerManager::mpDisableSysLogging()
{
    mpDisableSink(mvSysSink);
}

bool UBXLoggerManager::mfIsSysLogging() const
{
    return mvSysSink != nullptr;
}

bool UBXLoggerManager::mfIsLoggingEnabled() const
{
    return !mvSinks.isEmpty();
}

qint32 UBXLoggerManager::mfGetLevel() const
{
    return mvLevel;
}

void UBXLoggerManager::mpSetLevel(qint32 aLevel)
{
    if (aLevel == mvLevel)
        return;
    mvLevel = aLevel;
    for (ICLoggerObserver* lSink : std::as_const(mvSinks))
        lSink->mpSetLevel(aLevel);
}

void gpQtMessageHandler(QtMsgType aType, const QMessageLogContext& aContext,
                        const QString& aMessage)
{
    Q_UNUSED(aContext);
    const QString lText = QStringLiteral("[Qt] %1").arg(aMessage);
    if (lText.contains(QLatin1String("QGLShader::link")))
        return;
    qint32 lLevel;
    switch (aType) {
    case QtDebugMsg:
        lLevel = Debug;
        break;
    case QtWarningMsg:
        lLevel = Warn;
        break;
    case QtCriticalMsg:
    case QtFatalMsg:
        lLevel = Fatal;
        break;
    default:
        return;
    }
    ICLoggerModel::instance()->mpLog(lLevel, lText, 0);
}
