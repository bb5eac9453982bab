#ifndef UBXLOGGERMANAGER_H
#define UBXLOGGERMANAGER_H

#include "UBXCommonExport.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>

class ICConsoleLogger;
class ICLoggerFile;
class ICLoggerObserver;
class ICSysLogger;

// One-object logging set-up for a program: reads the logging switches
// ("-debuglogging", "-filelogging", "-logfile NAME", "-consolelogging",
// "-syslogging"), registers the chosen sinks on the default logger model, each
// in its own thread, keeps one level for all of them, and routes Qt's own
// messages into the log. Create it early and keep it alive to the end.
class UBXCOMMON_EXPORT UBXLoggerManager : public QObject
{
    Q_OBJECT
public:
    explicit UBXLoggerManager(const QStringList& aArguments);
    ~UBXLoggerManager() override;

    void mpParseArguments(const QStringList& aArguments);

    void mpEnableConsoleLogging();
    void mpDisableConsoleLogging();
    bool mfIsConsoleLogging() const;

    void mpEnableFileLogging(const QString& aFileName);
    void mpDisableFileLogging();
    // True when a file sink exists; aFileName then receives the name it was made with.
    bool mfGetLogFileName(QString& aFileName) const;

    void mpEnableSysLogging();
    void mpDisableSysLogging();
    bool mfIsSysLogging() const;

    bool mfIsLoggingEnabled() const;

    qint32 mfGetLevel() const;
    void mpSetLevel(qint32 aLevel);

private:
    // Sets the level, registers the sink with its own thread and records it.
    void mpRegisterSink(ICLoggerObserver* apSink);
    // Removes a sink from the model (which destroys it) and from the records.
    void mpUnregisterSink(ICLoggerObserver* apSink);
    // The same for the current sink of one kind, if there is one, which is then forgotten.
    template <typename Sink> void mpDisableSink(Sink*& apSink)
    {
        if (!apSink)
            return;
        mpUnregisterSink(apSink);
        apSink = nullptr;
    }

    qint32 mvLevel = 2;
    QVector<ICLoggerObserver*> mvSinks;
    ICLoggerFile* mvFileSink = nullptr;
    ICConsoleLogger* mvConsoleSink = nullptr;
    ICSysLogger* mvSysSink = nullptr;
    QString mvFileName;
};

// Qt's messages as log items: "[Qt] " + message, debug at Debug, warnings at
// Warn, critical and fatal at Fatal; shader link reports are dropped.
UBXCOMMON_EXPORT void gpQtMessageHandler(QtMsgType aType, const QMessageLogContext& aContext,
                                         const QString& aMessage);

#endif
