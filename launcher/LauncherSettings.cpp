#include "LauncherSettings.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

QString gfClientProgram()
{
    const QString lOverride = qEnvironmentVariable("BEAMORA_CLIENT_PROGRAM");
    return lOverride.isEmpty() ? QStringLiteral("/usr/bin/beamora") : lOverride;
}

int gfClientExitDelayMs()
{
    bool lOk = false;
    const int lDelay = qEnvironmentVariableIntValue("BEAMORA_EXIT_DELAY_MS", &lOk);
    return lOk && lDelay >= 0 ? lDelay : 60000;
}

QString gfInstanceGuardName(const QString& aUserName)
{
    const QString lName = QStringLiteral("%1_%2").arg(QStringLiteral("beamoralauncher"), aUserName);
    const QString lRuntimeDirectory = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (lRuntimeDirectory.isEmpty() || !QFileInfo(lRuntimeDirectory).isDir())
        return lName;
    return QDir(lRuntimeDirectory).absolutePath() + QLatin1Char('/') + lName;
}

QString gfQuotedForCommandLine(const QString& aProgram)
{
    static const QRegularExpression sNeedsQuotes(QStringLiteral("[\\s\"]"));
    if (!aProgram.contains(sNeedsQuotes))
        return aProgram;
    QString lEscaped = aProgram;
    lEscaped.replace(QLatin1Char('"'), QLatin1String("\"\"\""));
    return QLatin1Char('"') + lEscaped + QLatin1Char('"');
}
