#ifndef ICSYSLOGGER_H
#define ICSYSLOGGER_H

#include "ICLoggerObserver.h"
#include "ICLoggingExport.h"

// Hands each accepted item to the system log with the platform defaults for
// identity, options and facility. Status and Diag items are never sent.
class ICLOGGING_EXPORT ICSysLogger : public ICLoggerObserver
{
    Q_OBJECT
public:
    ICSysLogger();

    // How items of a level are sent; a null format means they are not sent.
    struct Mapping
    {
        int mvPriority;
        const char* mvFormat;
    };
    static Mapping sfMapping(qint32 aLevel);
    // The message text: "<text>   [hh:mm:ss.zzz]".
    static QByteArray sfMessage(const ICLoggerItem& aItem);

public Q_SLOTS:
    void mpSlotInitialize() override;
    void mpSlotLogEvent(const ICLoggerItem& aItem) override;
    void mpSlotFinalize() override;
};

#endif
