#include "ICSysLogger.h"

#include "ICLoggerDateFormat_p.h"

#include <syslog.h>

ICSysLogger::ICSysLogger() : ICLoggerObserver(Error, QStringLiteral("Observer Thread")) {}

ICSysLogger::Mapping ICSysLogger::sfMapping(qint32 aLevel)
{
    switch (aLevel) {
    case Debug:
        return {LOG_DEBUG, "[DEBUG] %s"};
    case Info:
        return {LOG_INFO, "[INFO] %s"};
    case Warn:
        return {LOG_WARNING, "[WARNING] %s"};
    case Error:
        return {LOG_ERR, "[ERROR] %s"};
    case Fatal:
        return {LOG_CRIT, "[CRIT] %s"};
    default:
        return {-1, nullptr};
    }
}

QByteArray ICSysLogger::sfMessage(const ICLoggerItem& aItem)
{
    const QString lTime = gfFormatDateTime(aItem.mfGetDateTime(), QLatin1String("hh:mm:ss.zzz"));
    return (aItem.mfGetText() + QStringLiteral("   [%1]").arg(lTime)).toLatin1();
}

void ICSysLogger::mpSlotInitialize() {}

void ICSysLogger::mpSlotLogEvent(const ICLoggerItem& aItem)
{
    if (!mfAccepts(aItem.mfGetLevel()))
        return;
    const Mapping lMapping = sfMapping(aItem.mfGetLevel());
    if (lMapping.mvFormat)
        syslog(lMapping.mvPriority, lMapping.mvFormat, sfMessage(aItem).constData());
}

void ICSysLogger::mpSlotFinalize() {}
