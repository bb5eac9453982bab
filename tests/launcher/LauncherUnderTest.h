#ifndef LAUNCHERUNDERTEST_H
#define LAUNCHERUNDERTEST_H

#include "TestFiles.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

// A private world for the built launcher: its own HOME, XDG directories, user,
// USB listing and a stand-in client, so that a test never meets a real
// session, a real button or another test.
class LauncherWorld
{
public:
    LauncherWorld()
    {
        for (const char* lName : {"home", "data", "config", "runtime", "usb", "client"})
            QDir(mvRoot.path()).mkpath(QLatin1String(lName));
        QFile::setPermissions(mfPath("runtime"), QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                     QFileDevice::ExeOwner);
        QFile::copy(STANDIN_CLIENT_PATH, mfClientProgram());
    }
    // Stand-in clients still running (nobody asked them to exit) end with the world.
    ~LauncherWorld()
    {
        for (const QString& lLine : mfRecord().filter("stand-in client pid: "))
            ::kill(static_cast<pid_t>(lLine.section(' ', -1).toLongLong()), SIGKILL);
    }

    QString mfPath(const char* aName) const { return mvRoot.filePath(QLatin1String(aName)); }
    QString mfClientProgram() const { return mfPath("client/beamora"); }
    QString mfGuard() const { return mfPath("runtime/beamoralauncher_alice"); }
    QString mfServiceLogPath() const { return mfPath("data/Lumora/Beamora Launcher/service.log"); }

    QProcessEnvironment mfEnvironment(const char* aUser = "alice") const
    {
        QProcessEnvironment lEnvironment;
        const QProcessEnvironment lOwn = QProcessEnvironment::systemEnvironment();
        // Sanitizer settings, the test's own TMPDIR and its (absent) message
        // buses carry over; nothing else of the real session does.
        for (const QString& lName : lOwn.keys()) {
            if (lName.endsWith("SAN_OPTIONS") || lName == "TMPDIR" || lName == "PATH" ||
                lName.startsWith("DBUS_"))
                lEnvironment.insert(lName, lOwn.value(lName));
        }
        const QString lSettings = QStringLiteral(
            "USER=%1;HOME=%2/home;XDG_DATA_HOME=%2/data;XDG_CONFIG_HOME=%2/config;"
            "XDG_RUNTIME_DIR=%2/runtime;QT_QPA_PLATFORM=offscreen;"
            "BEAMORA_USB_STORAGE_DIR=%2/usb;BEAMORA_CLIENT_PROGRAM=%2/client/beamora;"
            "BEAMORA_STANDIN_RECORD=%2/client-record.txt;BEAMORA_EXIT_DELAY_MS=1500");
        for (const QString& lSetting : lSettings.arg(aUser, mvRoot.path()).split(';'))
            lEnvironment.insert(lSetting.section('=', 0, 0), lSetting.section('=', 1));
        return lEnvironment;
    }

    // Writes or removes the kernel's listing file of the button.
    void mpPlugButton(bool aIn = true)
    {
        QVERIFY(aIn ? gfWriteFile(mfPath("usb/6"), gfUsbListing())
                    : QFile::remove(mfPath("usb/6")));
    }

    // The lines the stand-in client recorded so far.
    QStringList mfRecord() const
    {
        QFile lFile(mfPath("client-record.txt"));
        lFile.open(QIODevice::ReadOnly);
        return QString::fromUtf8(lFile.readAll()).split('\n');
    }
    bool mfWaitForRecord(const QString& aLine) const
    {
        return QTest::qWaitFor([&] { return mfRecord().contains(aLine); }, 30000);
    }

private:
    QTemporaryDir mvRoot;
};

// One run of the built launcher binary, its standard output collected.
class LauncherProcess
{
public:
    LauncherProcess(const QProcessEnvironment& aEnvironment, const QStringList& aArguments)
    {
        mvProcess.setProcessEnvironment(aEnvironment);
        mvProcess.start(LAUNCHER_PATH, aArguments);
    }
    ~LauncherProcess()
    {
        if (mvProcess.state() != QProcess::NotRunning) {
            mvProcess.terminate();
            if (!mvProcess.waitForFinished(10000))
                mvProcess.kill();
            mvProcess.waitForFinished(10000);
        }
        // What the launcher said is the first thing to read when a case fails.
        if (QTest::currentTestFailed())
            qWarning("launcher output:\n%s\nerrors:\n%s", mfOutput().constData(),
                     mvProcess.readAllStandardError().constData());
    }

    QProcess& mfProcess() { return mvProcess; }
    QByteArray mfOutput() { return mvOutput += mvProcess.readAllStandardOutput(); }

    // The console sink's lines ("Prefix<TAB>date-time<TAB>text") so far; other
    // output (the stand-in client's, forwarded) is left out.
    QStringList mfConsoleLines()
    {
        return QString::fromLatin1(mfOutput())
            .split('\n')
            .filter(QRegularExpression("^\\w+\\t.*\\t"));
    }
    // A console line with exactly this text.
    static QRegularExpression sfLine(const QString& aText)
    {
        return QRegularExpression("^\\w+\\t[^\\t]*\\t" + QRegularExpression::escape(aText) + '$');
    }
    int mfIndexOf(const QString& aText, int aFrom = 0)
    {
        return mfConsoleLines().indexOf(sfLine(aText), aFrom);
    }
    int mfCount(const QString& aText) { return mfConsoleLines().filter(sfLine(aText)).size(); }
    // The console prefix of the first line with that text ("Debug", "Info", ...).
    QString mfPrefixOf(const QString& aText)
    {
        return mfConsoleLines().value(mfIndexOf(aText)).section('\t', 0, 0);
    }
    bool mfWaitFor(const QString& aText, int aCount = 1)
    {
        return QTest::qWaitFor([&] { return mfCount(aText) >= aCount; }, 30000);
    }

private:
    QProcess mvProcess;
    QByteArray mvOutput;
};

#endif
