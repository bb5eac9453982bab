// End-to-end tests of the built launcher binary: a simulated button, the
// stand-in client and real local channels between the processes.
#include "TestFiles.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {
// Console lines as LauncherProcess::mfLines() gives them, and a client line.
const QString sBanner = "Info OS VERSION:Unknown";
const QString sListening = "stand-in client listening";
const QString sLaunching = "Debug Beamora Button was inserted. Launching client process.";
const QString sRemoved = QStringLiteral("Debug Beamora Button was removed. Killing client process "
                                        "in 60 seconds (unless dongle is inserted again).");
const QString sExiting = "Debug Exiting client process.";

// Asks a running stand-in client to leave, as the launcher does; false when
// none listens.
bool gfSendExit()
{
    QLocalSocket lSocket;
    lSocket.connectToServer("beamoraclient");
    // "exit" framed: 2-byte big-endian length, then the text.
    return lSocket.waitForConnected(30000) && lSocket.write(QByteArray::fromHex("000465786974")) &&
           lSocket.waitForDisconnected(30000);
}
} // namespace

// Its own HOME, XDG folders, user, USB listing and copy of the stand-in
// client, so that a launcher meets no real session, button or other test.
class LauncherWorld
{
public:
    LauncherWorld()
    {
        for (const char* lName : {"home", "data", "config", "runtime", "usb", "client"})
            QDir(mvRoot.path()).mkpath(QLatin1String(lName));
        QFile::copy(STANDIN_CLIENT_PATH, mfPath("client/beamora"));
        // Sanitizer settings, the test's own TMPDIR and its (absent) message
        // buses carry over; nothing else of the real session does.
        const QProcessEnvironment lOwn = QProcessEnvironment::systemEnvironment();
        for (const QString& lName : lOwn.keys()) {
            if (lName.endsWith("SAN_OPTIONS") || lName == "TMPDIR" || lName == "PATH" ||
                lName.startsWith("DBUS_"))
                mvEnvironment.insert(lName, lOwn.value(lName));
        }
        const QString lSettings = QStringLiteral(
            "USER=alice;HOME=%1/home;XDG_DATA_HOME=%1/data;XDG_CONFIG_HOME=%1/config;"
            "XDG_RUNTIME_DIR=%1/runtime;QT_QPA_PLATFORM=offscreen;BEAMORA_USB_STORAGE_DIR=%1/usb;"
            "BEAMORA_CLIENT_PROGRAM=%1/client/beamora;BEAMORA_EXIT_DELAY_MS=1500");
        for (const QString& lSetting : lSettings.arg(mvRoot.path()).split(';'))
            mvEnvironment.insert(lSetting.section('=', 0, 0), lSetting.section('=', 1));
    }
    // A client nobody asked to exit leaves with the world.
    ~LauncherWorld() { gfSendExit(); }

    QString mfPath(const char* aName) const { return mvRoot.filePath(QLatin1String(aName)); }
    // Writes or removes the kernel's listing file of the button.
    void mpPlugButton(bool aIn = true)
    {
        QVERIFY(aIn ? gfWriteFile(mfPath("usb/6"), gfUsbListing())
                    : QFile::remove(mfPath("usb/6")));
    }

    QProcessEnvironment mvEnvironment;

private:
    QTemporaryDir mvRoot;
};

// One run of the built launcher binary. Its console lines are read as
// "Prefix text" (their date left out), the forwarded client's as they are.
class LauncherProcess : public QProcess
{
public:
    LauncherProcess(const QProcessEnvironment& aEnvironment, const QStringList& aArguments)
    {
        setProcessEnvironment(aEnvironment);
        start(LAUNCHER_PATH, aArguments);
    }
    ~LauncherProcess() override
    {
        terminate();
        waitForFinished(10000);
        // What the launcher said is the first thing to read when a case fails.
        if (QTest::currentTestFailed())
            qWarning("launcher output:\n%s\nerrors:\n%s", mfOutput().constData(),
                     readAllStandardError().constData());
    }

    QByteArray mfOutput() { return mvOutput += readAllStandardOutput(); }
    QStringList mfLines()
    {
        static const QRegularExpression sDate("^(\\w+)\\t[^\\t]*\\t",
                                              QRegularExpression::MultilineOption);
        return QString::fromLatin1(mfOutput()).replace(sDate, "\\1 ").split('\n');
    }
    int mfIndexOf(const QString& aLine, int aFrom = 0) { return mfLines().indexOf(aLine, aFrom); }
    // Waits for the line to come at aFrom or later.
    bool mfWaitFor(const QString& aLine, int aFrom = 0)
    {
        return QTest::qWaitFor([&] { return mfIndexOf(aLine, aFrom) >= 0; }, 30000);
    }

private:
    QByteArray mvOutput;
};

class tst_Launcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void startLaunchAndEndOnASignal_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("level"); // passed on to the client; none without logging
        QTest::addColumn<QByteArray>("errors");
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("no logging, SIGTERM")
            << QStringList() << QString() << QByteArray() << int(SIGTERM);
        QTest::newRow("info, SIGINT") << QStringList{"-enablelogging", "-loglevel", "info"}
                                      << "info" << QByteArray() << int(SIGINT);
        QTest::newRow("last level wins, upper case, unknown switch goes on; SIGHUP")
            << QStringList{"-loglevel", "warn", "-foo", "-enablelogging", "-loglevel", "DEBUG"}
            << "debug" << QByteArray("ERROR: Invalid switch \"-foo\"\n") << int(SIGHUP);
    }
    void startLaunchAndEndOnASignal()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, level);
        QFETCH(QByteArray, errors);
        QFETCH(int, signalNumber);
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mvEnvironment, arguments);
        QVERIFY(lLauncher.mfWaitFor(sBanner));
        QVERIFY(lLauncher.mfOutput().startsWith(errors));
        // The banner: each line at Info, the cores counted, the OS given up on.
        QStringList lBanner =
            lLauncher.mfLines().mid(lLauncher.mfIndexOf("Info Beamora Launcher started."), 6);
        lBanner[4].replace(QRegularExpression(":[1-9][0-9]*$"), ":N");
        QCOMPARE(lBanner,
                 QStringList({"Info Beamora Launcher started.", "Info ============================",
                              "Info VERSION:00.00.00.trunk-1315", "Info BUILD:Mar 17 2015 05:39:22",
                              "Info CPU CORES:N", sBanner}));

        lWorld.mpPlugButton();
        QVERIFY(lLauncher.mfWaitFor(sListening));
        const QString lSwitches = level.isEmpty() ? level : "-enablelogging -loglevel " + level;
        QCOMPARE(lLauncher.mfIndexOf("stand-in client directory: " + lWorld.mfPath("client")),
                 lLauncher.mfIndexOf("stand-in client started: " + lSwitches) + 1);
        const QString lProgram = lWorld.mfPath("client/beamora");
        const QString lLaunchLine =
            level.isEmpty() ? QString("Debug Launching client process " + lProgram + '.')
                            : QString("Debug Launching process %1 with logging enabled at level "
                                      "'%2'.")
                                  .arg(lProgram, level);
        QCOMPARE(lLauncher.mfLines().count(lLaunchLine), 1);
        QCOMPARE(lLauncher.mfIndexOf(sLaunching) + 1, lLauncher.mfIndexOf(lLaunchLine));

        // The launcher ends cleanly: it releases the guard, logging that on
        // its way out with a date like any other line, and leaves the client
        // running. The file, at the level given, gets everything queued;
        // without logging no data directory is made.
        const QString lGuard = lWorld.mfPath("runtime/beamoralauncher_alice");
        QVERIFY(QFile::exists(lGuard));
        QCOMPARE(::kill(static_cast<pid_t>(lLauncher.processId()), signalNumber), 0);
        QVERIFY(lLauncher.waitForFinished(30000) && lLauncher.exitStatus() == QProcess::NormalExit);
        QCOMPARE(lLauncher.exitCode(), 0);
        QVERIFY(!QFile::exists(lGuard));
        const QString lLast =
            QString::fromLatin1(lLauncher.mfOutput()).split('\n').filter("\t").last();
        QVERIFY2(QRegularExpression("^Debug\\t\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d:\\d{3}\\t"
                                    "\\[UBXLocalCommunication::UBXLocalCommunication\\] End$")
                     .match(lLast)
                     .hasMatch(),
                 qPrintable(lLast));
        QVERIFY(gfSendExit());
        QCOMPARE(QFile::exists(lWorld.mfPath("data/Lumora")), !level.isEmpty());
        if (level.isEmpty())
            return;
        QFile lLog(lWorld.mfPath("data/Lumora/Beamora Launcher/service.log"));
        QVERIFY(lLog.open(QIODevice::ReadOnly));
        const QString lContent = QString::fromUtf8(lLog.readAll());
        QVERIFY(lContent.startsWith("===== Log format: 2.0 Log file started on "));
        QVERIFY(lContent.contains("Info\t: Class 0\t: PID "));
        QCOMPARE(lContent.contains(QString("\t: " + sLaunching.mid(6) + "\n")), level == "debug");
    }

    // A re-insertion seen before the exit delay ran out keeps the client. On
    // a slow machine it may be seen later, after the exit: the order of the
    // lines, not the clock, tells which. A running Button Manager keeps the
    // launcher from starting the client, not from asking the running one to
    // exit, whose end is noted.
    void reinsertionCancelsTheExitAndAManagerOnlyTheLaunch()
    {
        LauncherWorld lWorld;
        lWorld.mvEnvironment.insert("BEAMORA_EXIT_DELAY_MS", "5000");
        LauncherProcess lLauncher(lWorld.mvEnvironment, {});
        lWorld.mpPlugButton();
        QVERIFY(lLauncher.mfWaitFor(sListening));
        lWorld.mpPlugButton(false);
        QVERIFY(lLauncher.mfWaitFor(sRemoved));
        QElapsedTimer lSinceRemoval;
        lSinceRemoval.start();
        lWorld.mpPlugButton();
        QVERIFY(lLauncher.mfWaitFor(sLaunching, lLauncher.mfIndexOf(sLaunching) + 1));
        const int lRelaunch = lLauncher.mfIndexOf(sLaunching, lLauncher.mfIndexOf(sLaunching) + 1);
        // Had the timer survived the re-insertion it would fire within this window.
        QVERIFY(!QTest::qWaitFor([&] { return lLauncher.mfIndexOf(sExiting, lRelaunch) > 0; },
                                 qMax<qint64>(0, 6000 - lSinceRemoval.elapsed())));

        QLocalServer lManager;
        QVERIFY(lManager.listen("beamorabuttonmanager"));
        lWorld.mpPlugButton(false);
        QVERIFY(lLauncher.mfWaitFor(sRemoved, lRelaunch));
        const int lRemoval = lLauncher.mfIndexOf(sRemoved, lRelaunch);
        QVERIFY(lLauncher.mfWaitFor("stand-in client received: exit", lRemoval));
        QVERIFY(lLauncher.mfWaitFor("Debug Process finished. Exit code: 0", lRemoval));
        lWorld.mpPlugButton();
        QVERIFY(lLauncher.mfWaitFor("Info Beamora Button was inserted. Not launching the client "
                                    "because an instance of Button Manager is running."));
        QCOMPARE(lLauncher.mfLines().count(sLaunching), 2);
        QVERIFY(lManager.isListening()); // its name is still its own after the probe
    }

    // One launcher per user: a second one leaves silently, one of another user
    // runs, and the guard of a killed launcher is taken over.
    void oneInstancePerUser()
    {
        LauncherWorld lWorld;
        LauncherProcess lFirst(lWorld.mvEnvironment, {});
        QVERIFY(lFirst.mfWaitFor(sBanner));
        LauncherProcess lSecond(lWorld.mvEnvironment, {"-enablelogging", "-bogus"});
        QVERIFY(lSecond.waitForFinished(30000));
        QCOMPARE(lSecond.exitCode(), 0);
        QCOMPARE(lSecond.mfOutput(), QByteArray());
        QProcessEnvironment lBob = lWorld.mvEnvironment;
        lBob.insert("USER", "bob");
        lBob.remove("XDG_RUNTIME_DIR"); // the guard's name is then a plain one
        LauncherProcess lBobs(lBob, {});
        QVERIFY(lBobs.mfWaitFor(sBanner));
        QVERIFY(QFile::exists(QDir::temp().filePath("beamoralauncher_bob")));
        QCOMPARE(lFirst.state(), QProcess::Running);

        lFirst.kill();
        QVERIFY(lFirst.waitForFinished(30000));
        QVERIFY(QFile::exists(lWorld.mfPath("runtime/beamoralauncher_alice")));
        LauncherProcess lNext(lWorld.mvEnvironment, {});
        QVERIFY(lNext.mfWaitFor(sBanner));
    }

    void leavesAtOnceWithAMessage_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("runtime");
        QTest::addColumn<QString>("output");
        QTest::newRow("level name missing")
            << QStringList{"-enablelogging", "-loglevel"} << QString()
            << "ERROR: Too few arguments while defining log level.\n";
        QTest::newRow("status refused") << QStringList{"-loglevel", "status"} << QString()
                                        << "ERROR: \"status\" is not a known log level.\n";
        // No socket address holds a name of more than 107 bytes.
        QTest::newRow("guard cannot be taken")
            << QStringList() << QString(100, 'r')
            << "ERROR: Could not take the single-instance channel \"%1/beamoralauncher_alice\".\n";
    }
    void leavesAtOnceWithAMessage()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, runtime);
        QFETCH(QString, output);
        LauncherWorld lWorld;
        runtime.prepend(lWorld.mfPath("runtime") + '/');
        QVERIFY(QDir().mkpath(runtime));
        lWorld.mvEnvironment.insert("XDG_RUNTIME_DIR", runtime);
        LauncherProcess lLauncher(lWorld.mvEnvironment, arguments);
        QVERIFY(lLauncher.waitForFinished(30000) && lLauncher.exitStatus() == QProcess::NormalExit);
        QCOMPARE(lLauncher.exitCode(), 0);
        QCOMPARE(QString::fromLatin1(lLauncher.mfOutput()), output.replace("%1", runtime));
    }
};

QTEST_GUILESS_MAIN(tst_Launcher)
#include "tst_Launcher.moc"
