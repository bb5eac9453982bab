#ifndef ICCONSOLELOGGER_H
#define ICCONSOLELOGGER_H

#include "ICLoggerObserver.h"
#include "ICLoggingExport.h"

// Prints each accepted item as one Latin-1 line on standard output:
// prefix, "yyyy-MM-ddThh:mm:ss:zzz", tab, text. Level 4 until changed.
class ICLOGGING_EXPORT ICConsoleLogger : public ICLoggerObserver
{
    Q_OBJECT
public:
    ICConsoleLogger();

    // The line for an item, without its line feed; empty when the item is
    // below this sink's level.
    QByteArray mfFormat(const ICLoggerItem& aItem) const;

public Q_SLOTS:
    void mpSlotInitialize() override;
    void mpSlotLogEvent(const ICLoggerItem& aItem) override;
    void mpSlotFinalize() override;
};

#endif
