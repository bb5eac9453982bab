// Two private message buses: a system bus with logind, session "1" (found by
// that id or by any process id), and a session bus with GNOME Shell's screen
// saver. Prints the two DBUS_..._BUS_ADDRESS=<address> lines, then applies
// lines "<name> true|false" from standard input (LockedHint, Active,
// ScreenSaverActive), answering "ok" to each. Ends, buses and all, at its
// input's end.
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusObjectPath>
#include <QDir>
#include <QProcess>
#include <QSocketNotifier>

#include <csignal>
#include <cstdio>
#include <sys/prctl.h>
#include <unistd.h>

// The session's state, as logind (its manager and the session) and the
// screen saver tell it.
class FakeSessionState : public QObject, protected QDBusContext
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Session")
    Q_PROPERTY(bool Active MEMBER mvActive)
    Q_PROPERTY(bool LockedHint MEMBER mvLockedHint)
    Q_PROPERTY(bool ScreenSaverActive MEMBER mvScreenSaverActive SCRIPTABLE false)
public Q_SLOTS:
    bool GetActive() { return mvScreenSaverActive; }
    QDBusObjectPath GetSession(const QString& aId)
    {
        if (aId != QLatin1String("1"))
            sendErrorReply(QStringLiteral("org.freedesktop.login1.NoSuchSession"), aId);
        return QDBusObjectPath("/org/freedesktop/login1/session/_31");
    }
    QDBusObjectPath GetSessionByPID(uint) { return GetSession(QStringLiteral("1")); }

private:
    bool mvActive = true;
    bool mvLockedHint = false;
    bool mvScreenSaverActive = false;
};

// Starts a dbus-daemon that dies with this process; its address, or empty.
QString gfStartBus(QProcess& aDaemon)
{
    aDaemon.setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
    aDaemon.start("dbus-daemon", {"--session", "--nofork", "--print-address",
                                  "--address=unix:dir=" + QDir::tempPath()});
    aDaemon.waitForReadyRead(30000);
    return QString::fromLatin1(aDaemon.readLine().trimmed());
}

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    QProcess lSystemDaemon, lSessionDaemon;
    const QString lAddresses[] = {gfStartBus(lSystemDaemon), gfStartBus(lSessionDaemon)};
    QDBusConnection lSystem = QDBusConnection::connectToBus(lAddresses[0], "system");
    QDBusConnection lSession = QDBusConnection::connectToBus(lAddresses[1], "session");
    FakeSessionState lState;
    if (!lSystem.registerObject("/org/freedesktop/login1", "org.freedesktop.login1.Manager",
                                &lState, QDBusConnection::ExportAllSlots) ||
        !lSystem.registerObject("/org/freedesktop/login1/session/_31", &lState,
                                QDBusConnection::ExportScriptableProperties) ||
        !lSystem.registerService("org.freedesktop.login1") ||
        !lSession.registerObject("/org/gnome/ScreenSaver", "org.gnome.ScreenSaver", &lState,
                                 QDBusConnection::ExportAllSlots) ||
        !lSession.registerService("org.gnome.ScreenSaver"))
        return 1;
    std::printf("DBUS_SYSTEM_BUS_ADDRESS=%s\nDBUS_SESSION_BUS_ADDRESS=%s\n",
                qPrintable(lAddresses[0]), qPrintable(lAddresses[1]));
    std::fflush(stdout);

    QSocketNotifier lInput(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&lInput, &QSocketNotifier::activated, [&] {
        char lLine[128];
        if (!std::fgets(lLine, sizeof lLine, stdin))
            return QCoreApplication::quit();
        const QList<QByteArray> lWords = QByteArray(lLine).simplified().split(' ');
        const bool lApplied = lWords.size() == 2 &&
                              lState.setProperty(lWords.at(0).constData(), lWords.at(1) == "true");
        std::puts(lApplied ? "ok" : "unknown");
        std::fflush(stdout);
    });
    const int lStatus = QCoreApplication::exec();
    for (QProcess* lDaemon : {&lSystemDaemon, &lSessionDaemon}) {
        lDaemon->kill();
        lDaemon->waitForFinished();
    }
    return lStatus;
}
#include "FakeSessionServices.moc"
