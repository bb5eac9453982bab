#ifndef SESSIONBUSES_H
#define SESSIONBUSES_H

#include <QProcess>
#include <QProcessEnvironment>

// While it exists, private system and session buses with a fake logind
// (session "1": active, unlocked) and a fake GNOME Shell screen saver
// (inactive), served by the program FAKE_SESSION_SERVICES_PATH.
class SessionBuses
{
public:
    SessionBuses()
    {
        mvServices.start(QStringLiteral(FAKE_SESSION_SERVICES_PATH));
        while (mvBuses.keys().size() < 2 && mfWaitForLine()) {
            const QString lLine = mfReadLine();
            mvBuses.insert(lLine.section('=', 0, 0), lLine.section('=', 1));
        }
    }
    ~SessionBuses()
    {
        mvServices.closeWriteChannel();
        mvServices.waitForFinished(30000);
    }

    bool mfIsValid() const { return mvBuses.keys().size() == 2; }
    // "DBUS_SYSTEM_BUS_ADDRESS" and "DBUS_SESSION_BUS_ADDRESS" naming the buses.
    const QProcessEnvironment& mfBuses() const { return mvBuses; }

    // Changes an answer ("LockedHint true"); true once the services applied it.
    bool mfSet(const QByteArray& aLine)
    {
        mvServices.write(aLine + '\n');
        return mfWaitForLine() && mfReadLine() == QLatin1String("ok");
    }

private:
    bool mfWaitForLine()
    {
        while (!mvServices.canReadLine()) {
            if (!mvServices.waitForReadyRead(30000))
                return false;
        }
        return true;
    }
    QString mfReadLine() { return QString::fromLatin1(mvServices.readLine().trimmed()); }

    QProcess mvServices;
    QProcessEnvironment mvBuses;
};

#endif
