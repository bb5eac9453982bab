#ifndef ICLOGGERDATEFORMAT_P_H
#define ICLOGGERDATEFORMAT_P_H

#include <QDateTime>
#include <QString>

// Formats a date-time with the patterns the sinks use ("yyyy", "MM", "dd",
// "hh", "mm", "ss", "zzz"; every other character is literal), giving the same
// text as QDateTime::toString for them. Built from the date and time fields
// alone: sinks still format queued items while the process exits, when Qt's
// locale data, and so toString, are already gone. Invalid gives "".
QString gfFormatDateTime(const QDateTime& aDateTime, QLatin1String aPattern);

#endif
