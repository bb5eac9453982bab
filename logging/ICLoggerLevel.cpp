#include "ICLoggerLevel.h"

#include <array>

namespace {
const std::array<const char*, 7> sParseNames = {"status", "debug", "diag", "info",
                                                "warn",   "error", "fatal"};
const std::array<const char*, 7> sDisplayNames = {"Status", "Debug", "Diag", "Info",
                                                  "Warn",   "Error", "Fatal"};

bool gfIsKnownLevel(qint32 aLevel)
{
    return aLevel >= Status && aLevel <= Fatal;
}
} // namespace

qint32 gfLevelFromName(const QString& aName)
{
    const QString lLower = aName.toLower();
    for (size_t i = 0; i < sParseNames.size(); ++i) {
        if (lLower == QLatin1String(sParseNames[i]))
            return static_cast<qint32>(i) + Status;
    }
    return Error;
}

QString gfLevelToName(qint32 aLevel)
{
    return QLatin1String(sParseNames[gfIsKnownLevel(aLevel) ? aLevel - Status : Error - Status]);
}

QString gfLevelDisplayName(qint32 aLevel)
{
    return gfIsKnownLevel(aLevel) ? QLatin1String(sDisplayNames[aLevel - Status])
                                  : QStringLiteral("Unknown");
}
