#ifndef ICLOGGERLEVEL_H
#define ICLOGGERLEVEL_H

#include "ICLoggingExport.h"

#include <QString>
#include <QtGlobal>

// The severity scale of every log item; higher is more severe. Status is never
// filtered by a level threshold: banners and framework notices use it.
enum ICLoggerLevel : qint32
{
    Status = -1,
    Debug = 0,
    Diag = 1,
    Info = 2,
    Warn = 3,
    Error = 4,
    Fatal = 5
};

// Parses a level name case-insensitively ("status" .. "fatal"). Any other word,
// the empty one included, gives Error: callers always get a usable level.
ICLOGGING_EXPORT qint32 gfLevelFromName(const QString& aName);

// The lower-case parse name of a level; every value outside -1..5 gives "error".
ICLOGGING_EXPORT QString gfLevelToName(qint32 aLevel);

// The capitalised display word the file sink prints ("Status" .. "Fatal"), or
// "Unknown" outside -1..5.
ICLOGGING_EXPORT QString gfLevelDisplayName(qint32 aLevel);

// True when an item of aItemLevel passes a sink or model set to aThreshold.
inline bool gfLevelPasses(qint32 aItemLevel, qint32 aThreshold)
{
    return aItemLevel == Status || aItemLevel >= aThreshold;
}

#endif
