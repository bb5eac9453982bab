#include "ICConsoleLogger.h"

#include "ICLoggerDateFormat_p.h"

#include <cstdio>

namespace {
// Platform severity words; Status and Diag print "Unknown" on purpose.
const char* gfConsolePrefix(qint32 aLevel)
{
    switch (aLevel) {
    case Debug:
        return "Debug\t";
    case Info:
        return "Info\t";
    case Warn:
        return "Warning\t";
    case Error:
        return "Error\t";
    case Fatal:
        return "Critical\t";
    default:
        return "Unknown\t";
    }
}
} // namespace

ICConsoleLogger::ICConsoleLogger() : ICLoggerObserver(Error, QStringLiteral("Observer Thread")) {}

QByteArray ICConsoleLogger::mfFormat(const ICLoggerItem& aItem) const
{
    if (!mfAccepts(aItem.mfGetLevel()))
        return QByteArray();
    const QString lLine =
        QLatin1String(gfConsolePrefix(aItem.mfGetLevel())) +
        gfFormatDateTime(aItem.mfGetDateTime(), QLatin1String("yyyy-MM-ddThh:mm:ss:zzz")) +
        QLatin1Char('\t') + aItem.mfGetText();
    return lLine.toLatin1();
}

void ICConsoleLogger::mpSlotInitialize() {}

void ICConsoleLogger::mpSlotLogEvent(const ICLoggerItem& aItem)
{
    const QByteArray lLine = mfFormat(aItem);
    if (lLine.isEmpty())
        return;
    std::fwrite(lLine.constData(), 1, static_cast<size_t>(lLine.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void ICConsoleLogger::mpSlotFinalize() {}
