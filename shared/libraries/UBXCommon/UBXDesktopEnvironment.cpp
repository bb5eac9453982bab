#include "UBXDesktopEnvironment.h"

#include "UBXPlatformSupport_p.h"

#include <QFile>
#include <QStringList>

namespace {
constexpr qint32 sOpensslWaitMs = 10000;
} // namespace

DesktopEnvironment gfGetDesktopEnvironment()
{
    if (qEnvironmentVariable("XDG_CURRENT_DESKTOP").toLower() == QLatin1String("unity"))
        return DesktopEnvironment::Unity;
    if (qEnvironmentVariable("GDMSESSION").toLower() == QLatin1String("gnome"))
        return DesktopEnvironment::GNome;
    return DesktopEnvironment::Unknown;
}

QString gfGetDesktopEnvironmentName()
{
    switch (gfGetDesktopEnvironment()) {
    case DesktopEnvironment::Unity:
        return QStringLiteral("Unity");
    case DesktopEnvironment::GNome:
        return QStringLiteral("GNome");
    case DesktopEnvironment::Windows:
        return QStringLiteral("Windows");
    case DesktopEnvironment::OSX:
        return QStringLiteral("OSX");
    default:
        return QStringLiteral("Unknown");
    }
}

QString gfDecryptPassPhrase()
{
    return gfDecryptPassPhrase(QStringLiteral("/store/certs/pass.key"),
                               QStringLiteral("/store/certs/pass.enc"));
}

QString gfDecryptPassPhrase(const QString& aKeyFilePath, const QString& aEncryptedFilePath)
{
    QString lKey;
    if (!gfReadTextFile(aKeyFilePath, true, lKey))
        return QString();

    // The tool truncates an existing output file and keeps its mode, so the
    // plain text never lands in a file that others may read.
    const QString lTemporaryPath = aEncryptedFilePath + QStringLiteral(".tmp");
    QFile::remove(lTemporaryPath);
    {
        QFile lTemporary(lTemporaryPath);
        if (!lTemporary.open(QIODevice::WriteOnly | QIODevice::NewOnly,
                             QFileDevice::ReadOwner | QFileDevice::WriteOwner))
            return QString();
    }

    const QStringList lArguments{QStringLiteral("aes-256-cbc"), QStringLiteral("-d"),
                                 QStringLiteral("-a"),          QStringLiteral("-salt"),
                                 QStringLiteral("-in"),         aEncryptedFilePath,
                                 QStringLiteral("-k"),          lKey,
                                 QStringLiteral("-md"),         QStringLiteral("sha1"),
                                 QStringLiteral("-out"),        lTemporaryPath};
    const UBXProcessResult lResult =
        gfRunProcess(QStringLiteral("openssl"), lArguments, sOpensslWaitMs);

    QString lPassPhrase;
    if (lResult.mvFinished && lResult.mvExitCode == 0)
        gfReadTextFile(lTemporaryPath, false, lPassPhrase);
    // A failed run may still have written a partial or garbled plain text.
    QFile::remove(lTemporaryPath);
    return lPassPhrase;
}

qint32 gfCompareVersions(const QString& aVersionA, const QString& aVersionB)
{
    const QStringList lPartsA = aVersionA.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    const QStringList lPartsB = aVersionB.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (lPartsA.size() < 3 || lPartsB.size() < 3)
        return -2;
    for (int lIndex = 0; lIndex < 3; ++lIndex) {
        bool lOkA = false;
        bool lOkB = false;
        const uint lNumberA = lPartsA.at(lIndex).toUInt(&lOkA, 10);
        const uint lNumberB = lPartsB.at(lIndex).toUInt(&lOkB, 10);
        if (!lOkA || !lOkB)
            return -2;
        if (lNumberA < lNumberB)
            return 1;
        if (lNumberA > lNumberB)
            return -1;
    }
    return 0;
}
