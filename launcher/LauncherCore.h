#ifndef LAUNCHERCORE_H
#define LAUNCHERCORE_H

#include <QObject>
#include <QProcess>
#include <QString>

class ButtonDetector;
class ICConsoleLogger;
class ICLoggerFile;
class QTimer;

// The launcher's controller, on the main thread. It sets up the launcher's
// log sinks, starts the button detector, starts the client when the button is
// plugged in (unless a button manager runs) and asks the client to exit a
// while after the button is pulled out, unless the button comes back first.
// The client is never killed while the launcher runs.
class LauncherCore : public QObject
{
    Q_OBJECT
public:
    LauncherCore(bool aLoggingEnabled, qint32 aLogLevel);
    ~LauncherCore() override;

public Q_SLOTS:
    void mpOnButtonInserted(QString aApplicationPath);
    void mpOnButtonRemoved(bool aKillClientImmediately);
    void mpOnProcessFinished(int aExitCode, QProcess::ExitStatus aExitStatus);
    void mpOnKillApplicationTimeout();

private:
    void mpLaunchClient(const QString& aApplicationPath);
    void mpLogStartupBanner();

    ButtonDetector* mvDetector = nullptr;
    QProcess* mvClientProcess = nullptr;
    ICLoggerFile* mvFileLogger = nullptr;
    ICConsoleLogger* mvConsoleLogger = nullptr;
    bool mvLoggingEnabled;
    qint32 mvLogLevel;
    QTimer* mvKillTimer = nullptr;
};

#endif
