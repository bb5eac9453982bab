#include "UBXSystemProbes.h"

#include "ICLoggerModel.h"
#include "UBXDesktopEnvironment.h"
#include "UBXLogindSession_p.h"
#include "UBXPlatformSupport_p.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDir>
#include <QFileInfo>
#include <QStringList>

namespace {
// The directory named by aVariable when it is set, else aDefault; always with
// a trailing slash, since file names are appended to it.
QString gfDirectoryFromEnvironment(const char* aVariable, const QString& aDefault)
{
    QString lDirectory = qEnvironmentVariable(aVariable);
    if (lDirectory.isEmpty())
        return aDefault;
    if (!lDirectory.endsWith(QLatin1Char('/')))
        lDirectory += QLatin1Char('/');
    return lDirectory;
}

QString gfUsbStorageDirectory()
{
    return gfDirectoryFromEnvironment("BEAMORA_USB_STORAGE_DIR",
                                      QStringLiteral("/proc/scsi/usb-storage/"));
}

// The tool's answer; empty when it is missing, fails or does not answer in time.
QString gfRunShellCommand(const QString& aCommandLine, qint32 aWaitMs)
{
    return gfTextUpToZero(
        gfRunProcess(QStringLiteral("sh"), {QStringLiteral("-c"), aCommandLine}, aWaitMs)
            .mvStandardOutput);
}

bool gfIsUnitySessionBlocked()
{
    const QString lScreenSaver = gfRunShellCommand(
        QStringLiteral("gdbus call -e -d org.gnome.ScreenSaver -o /org/gnome/ScreenSaver -m "
                       "org.gnome.ScreenSaver.GetActive"),
        1000);
    // No "false" also covers a screen saver that did not answer: without proof
    // that the session is free the button is not polled.
    if (!lScreenSaver.contains(QLatin1String("false")))
        return true;
    const QString lLocked = gfRunShellCommand(
        QStringLiteral("gdbus call -e -d com.canonical.Unity -o /com/canonical/Unity/Session -m "
                       "com.canonical.Unity.Session.IsLocked"),
        1500);
    return lLocked.contains(QLatin1String("true"));
}

// GNOME Shell answers the screen saver's question itself on the session bus;
// no answer within 1 s counts as active.
bool gfIsShellScreenSaverActive()
{
    const QDBusMessage lCall = QDBusMessage::createMethodCall(
        QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("/org/gnome/ScreenSaver"),
        QStringLiteral("org.gnome.ScreenSaver"), QStringLiteral("GetActive"));
    const QDBusReply<bool> lReply = QDBusConnection::sessionBus().call(lCall, QDBus::Block, 1000);
    return !lReply.isValid() || lReply.value();
}

bool gfIsGnomeSessionBlocked()
{
    // The shell's exit status for a command it cannot find.
    constexpr qint32 sCommandNotFound = 127;
    const UBXProcessResult lQuery =
        gfRunProcess(QStringLiteral("sh"),
                     {QStringLiteral("-c"), QStringLiteral("gnome-screensaver-command -q")}, 30000);
    // Today's GNOME ships no such tool; its shell then answers instead.
    if (lQuery.mvFinished && lQuery.mvExitCode == sCommandNotFound) {
        if (gfIsShellScreenSaverActive())
            return true;
    } else if (!gfTextUpToZero(lQuery.mvStandardOutput).contains(QLatin1String("inactive"))) {
        return true;
    }
    // The reply is a one-element tuple holding a uint32 variant, "(<uint32 0>,)";
    // 0 is "available", every other presence (invisible, busy, idle) blocks.
    QString lPresence = gfRunShellCommand(
        QStringLiteral("gdbus call -e -d org.gnome.SessionManager -o "
                       "/org/gnome/SessionManager/Presence -m "
                       "org.freedesktop.DBus.Properties.Get /org/gnome/SessionManager/Presence "
                       "status"),
        30000);
    lPresence.remove(QStringLiteral("(<uint32 "), Qt::CaseSensitive);
    lPresence.remove(QStringLiteral(">,)"), Qt::CaseSensitive);
    return lPresence.toInt(nullptr, 10) != 0;
}

// This process's session as logind knows it, looked up by the first caller.
const UBXLogindSession& gfLogindSession()
{
    static const UBXLogindSession sSession;
    return sSession;
}

// The value after the last colon of a "Key: value" line.
QString gfLineValue(const QString& aLine)
{
    return aLine.split(QLatin1Char(':'), Qt::KeepEmptyParts).last().trimmed();
}
} // namespace

QString gfGetUserName()
{
    return QString::fromLatin1(qgetenv("USER"));
}

bool gfIsSessionBlocked()
{
    bool lBlocked = false;
    switch (gfGetDesktopEnvironment()) {
    case DesktopEnvironment::Unity:
        lBlocked = gfIsUnitySessionBlocked();
        break;
    case DesktopEnvironment::GNome:
        lBlocked = gfIsGnomeSessionBlocked();
        break;
    default:
        break;
    }
    // The desktop's answer stands as it is; logind can only add a block, and
    // is not asked when the desktop has already found one.
    bool lLogindBlocked = false;
    return lBlocked || (gfLogindSession().mfReadBlocked(lLogindBlocked) && lLogindBlocked);
}

QString gfGetSessionLockSources()
{
    const bool lDesktop = gfGetDesktopEnvironment() == DesktopEnvironment::Unity ||
                          gfGetDesktopEnvironment() == DesktopEnvironment::GNome;
    if (gfLogindSession().mfIsFound())
        return lDesktop ? QStringLiteral("logind and the desktop's screen saver")
                        : QStringLiteral("logind");
    return lDesktop ? QStringLiteral("the desktop's screen saver") : QString();
}

bool gpDetectDevice(const QString& aVendorName, const QString& aVendorId,
                    const QString& aProductName, const QString& aProductId,
                    const QString& aVolumeLabel, QString& aApplicationPath)
{
    // Only the names identify the button here; the rest serves other platforms.
    Q_UNUSED(aVendorId)
    Q_UNUSED(aProductId)
    Q_UNUSED(aVolumeLabel)
    Q_UNUSED(aApplicationPath)

    const QString lDirectory = gfUsbStorageDirectory();
    const QStringList lFiles = QDir(lDirectory).entryList(QDir::Files, QDir::Unsorted);
    // Deliberately not reset per file: a file without a vendor or product line
    // is judged with the value read before it.
    QString lVendor;
    QString lProduct;
    for (const QString& lFile : lFiles) {
        QString lText;
        if (gfReadTextFile(lDirectory + lFile, true, lText)) {
            const QStringList lLines = lText.split(QLatin1Char('\n'), Qt::KeepEmptyParts);
            for (const QString& lRawLine : lLines) {
                const QString lLine = lRawLine.trimmed();
                if (lLine.startsWith(QLatin1String("vendor"), Qt::CaseInsensitive))
                    lVendor = gfLineValue(lLine);
                if (lLine.startsWith(QLatin1String("product"), Qt::CaseInsensitive))
                    lProduct = gfLineValue(lLine);
            }
        } else {
            ICLoggerModel::instance()->mpLog(
                Error, QStringLiteral("Error opening USB information ..."), 0);
        }
        if (lVendor == aVendorName && lProduct == aProductName)
            return true;
    }
    return false;
}

bool gfHasUsbStorageListing()
{
    return QFileInfo::exists(gfUsbStorageDirectory());
}

bool gfDetectSysfsUsbDevice(const QString& aVendorName, const QString& aProductName)
{
    const QString lRoot = gfDirectoryFromEnvironment("BEAMORA_SYSFS_USB_DIR",
                                                     QStringLiteral("/sys/bus/usb/devices/"));
    // The entries are symbolic links to the device directories; interfaces
    // ("1-1:1.0") have no manufacturer attribute and drop out below.
    const QStringList lDevices =
        QDir(lRoot).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Unsorted);
    for (const QString& lDevice : lDevices) {
        // The product is read only for a matching manufacturer: most polls
        // find no button, and each read is a file open.
        QString lVendor;
        QString lProduct;
        if (gfReadTextFile(lRoot + lDevice + QStringLiteral("/manufacturer"), true, lVendor) &&
            lVendor.trimmed() == aVendorName &&
            gfReadTextFile(lRoot + lDevice + QStringLiteral("/product"), true, lProduct) &&
            lProduct.trimmed() == aProductName)
            return true;
    }
    return false;
}
