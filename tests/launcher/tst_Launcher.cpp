// End-to-end tests of the built launcher binary in a private environment:
// a simulated button (listing files written by the test), a stand-in client
// that records how it was started and what it received, and real local
// channels between the processes.
#include "LauncherUnderTest.h"
#include "SessionBuses.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>
#include <memory>

namespace {
const QString sBanner = "OS VERSION:Unknown";
const QString sListening = "stand-in client listening";
const QString sReceivedExit = "stand-in client received: exit";
const QString sLaunching = "Beamora Button was inserted. Launching client process.";
const QString sRemoved = QStringLiteral("Beamora Button was removed. Killing client process in 60 "
                                        "seconds (unless dongle is inserted again).");
const QString sExiting = "Exiting client process.";
} // namespace

class tst_Launcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void startupAndLaunch_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("level"); // passed on to the client; none without logging
        QTest::addColumn<QByteArray>("errors");
        QTest::newRow("no logging") << QStringList() << QString() << QByteArray();
        QTest::newRow("info") << QStringList{"-enablelogging", "-loglevel", "info"} << "info"
                              << QByteArray();
        QTest::newRow("upper case")
            << QStringList{"-loglevel", "DEBUG", "-enablelogging"} << "debug" << QByteArray();
        QTest::newRow("last level wins, unknown switch goes on")
            << QStringList{"-loglevel", "info", "-foo", "-enablelogging", "-loglevel", "warn"}
            << "warn" << QByteArray("ERROR: Invalid switch \"-foo\"\n");
    }

    void startupAndLaunch()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, level);
        QFETCH(QByteArray, errors);
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), arguments);
        QVERIFY(lLauncher.mfWaitFor(sBanner));
        QVERIFY(lLauncher.mfOutput().startsWith(errors));
        // The banner: each line at Info, the cores counted, the OS given up on.
        const QStringList lLines = lLauncher.mfConsoleLines();
        const int lFirst = lLauncher.mfIndexOf("Beamora Launcher started.");
        QStringList lBanner;
        for (int i = lFirst; i < lFirst + 6; ++i)
            lBanner << lLines.value(i).section('\t', 0, 0) + ' ' + lLines.value(i).section('\t', 2);
        QVERIFY(
            QRegularExpression("^Info CPU CORES:[1-9][0-9]*$").match(lBanner.takeAt(4)).hasMatch());
        QCOMPARE(lBanner,
                 QStringList({"Info Beamora Launcher started.", "Info ============================",
                              "Info VERSION:00.00.00.trunk-1315", "Info BUILD:Mar 17 2015 05:39:22",
                              "Info " + sBanner}));

        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(sListening));
        const QString lSwitches = level.isEmpty() ? level : "-enablelogging -loglevel " + level;
        QCOMPARE(lWorld.mfRecord().mid(0, 2),
                 QStringList({"stand-in client started: " + lSwitches,
                              "stand-in client directory: " + lWorld.mfPath("client")}));
        const QString lLaunchLine =
            level.isEmpty()
                ? QStringLiteral("Launching client process %1.").arg(lWorld.mfClientProgram())
                : QStringLiteral("Launching process %1 with logging enabled at level '%2'.")
                      .arg(lWorld.mfClientProgram(), level);
        QVERIFY(lLauncher.mfWaitFor(lLaunchLine));
        QCOMPARE(lLauncher.mfPrefixOf(lLaunchLine), "Debug");
        QCOMPARE(lLauncher.mfPrefixOf(sLaunching), "Debug");
        QVERIFY(lLauncher.mfIndexOf(sLaunching) < lLauncher.mfIndexOf(lLaunchLine));
        QCOMPARE(lLauncher.mfCount(lLaunchLine), 1);

        // Ending the launcher writes out everything queued for the file, whose
        // level is the one given; without logging no data directory is made.
        lLauncher.mfProcess().terminate();
        QVERIFY(lLauncher.mfProcess().waitForFinished(30000));
        QFile lLog(lWorld.mfServiceLogPath());
        QCOMPARE(QFile::exists(lWorld.mfPath("data") + "/Lumora"), !level.isEmpty());
        if (level.isEmpty())
            return;
        QVERIFY(lLog.open(QIODevice::ReadOnly));
        const QString lContent = QString::fromUtf8(lLog.readAll());
        QVERIFY(lContent.startsWith("===== Log format: 2.0 Log file started on "));
        QCOMPARE(lContent.contains("Info\t: Class 0\t: PID "), level == "info" || level == "debug");
        QCOMPARE(lContent.contains(QString("\t: " + sLaunching + "\n")), level == "debug");
    }

    void reinsertionWithinTheDelayCancelsTheExit()
    {
        LauncherWorld lWorld;
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        const int lDelayMs = 4000;
        lEnvironment.insert("BEAMORA_EXIT_DELAY_MS", QString::number(lDelayMs));
        LauncherProcess lLauncher(lEnvironment, {});
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(sListening));
        lWorld.mpPlugButton(false);
        QVERIFY(lLauncher.mfWaitFor(sRemoved));
        QElapsedTimer lSinceRemoval;
        lSinceRemoval.start();
        lWorld.mpPlugButton();
        QVERIFY(lLauncher.mfWaitFor(sLaunching, 2));
        // Had the timer survived the re-insertion it would fire within this window.
        QTest::qWait(qMax<qint64>(0, lDelayMs + 1000 - lSinceRemoval.elapsed()));
        QCOMPARE(lLauncher.mfCount(sExiting), 0);
        QVERIFY(!lWorld.mfRecord().contains(sReceivedExit));

        lWorld.mpPlugButton(false);
        QVERIFY(lWorld.mfWaitForRecord(sReceivedExit));
        // Exactly one frame, as it travels: length 4, big-endian, then "exit".
        QCOMPARE(lWorld.mfRecord().filter("stand-in client frame: "),
                 QStringList("stand-in client frame: 000465786974"));
        QVERIFY(lLauncher.mfWaitFor("Process finished. Exit code: 0"));
        QCOMPARE(lLauncher.mfCount(sExiting), 1);
        const int lSecondRemoval = lLauncher.mfIndexOf(sRemoved, lLauncher.mfIndexOf(sRemoved) + 1);
        QVERIFY(lSecondRemoval > 0);
        QVERIFY(lLauncher.mfIndexOf(sExiting) > lSecondRemoval);
    }

    // Ubuntu's GNOME session, where only logind knows of the lock: the
    // button is in all along, the launch waits for the unlock.
    void sessionLockDelaysTheLaunchUntilUnlock()
    {
        LauncherWorld lWorld;
        SessionBuses lBuses;
        QVERIFY(lBuses.mfIsValid());
        QVERIFY(lBuses.mfSet("LockedHint true"));
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        lEnvironment.insert(lBuses.mfBuses());
        lEnvironment.insert("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
        lEnvironment.insert("GDMSESSION", "ubuntu");
        lWorld.mpPlugButton();
        LauncherProcess lLauncher(lEnvironment, {});
        const QString lLocked = "The executable is not running on the input desktop.";
        QVERIFY(lLauncher.mfWaitFor(lLocked));
        QCOMPARE(lLauncher.mfPrefixOf(lLocked), "Debug");
        QCOMPARE(lLauncher.mfIndexOf("Session lock state from logind."),
                 lLauncher.mfIndexOf(lLocked) - 1);

        QVERIFY(lBuses.mfSet("LockedHint false"));
        QVERIFY(lWorld.mfWaitForRecord(sListening));
        QVERIFY(lLauncher.mfWaitFor(sLaunching));
        QVERIFY(lLauncher.mfIndexOf(sLaunching) >
                lLauncher.mfIndexOf("The executable is running on the input desktop."));
    }

    void runningButtonManagerSuppressesLaunchButNotExit()
    {
        LauncherWorld lWorld;
        QLocalServer lManager;
        QVERIFY(lManager.listen("beamorabuttonmanager"));
        QProcess lClient;
        lClient.setProcessEnvironment(lWorld.mfEnvironment());
        lClient.start(lWorld.mfClientProgram(), {"manual"});
        QVERIFY(lWorld.mfWaitForRecord(sListening));

        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        lWorld.mpPlugButton();
        const QString lManagerRuns = "Beamora Button was inserted. Not launching the client "
                                     "because an instance of Button Manager is running.";
        QVERIFY(lLauncher.mfWaitFor(lManagerRuns));
        QCOMPARE(lLauncher.mfPrefixOf(lManagerRuns), "Info");
        QCOMPARE(lLauncher.mfCount(sLaunching), 0);
        QCOMPARE(lWorld.mfRecord().filter("stand-in client started").size(), 1);
        // The manager's name is still its own after the probe.
        QVERIFY(lManager.isListening());

        lWorld.mpPlugButton(false);
        QVERIFY(lClient.waitForFinished(30000));
        QVERIFY(lWorld.mfRecord().contains(sReceivedExit));
    }

    // One launcher per user: a second one leaves silently, one of another user
    // runs, and the guard of a killed launcher is taken over.
    void oneInstancePerUser()
    {
        LauncherWorld lWorld;
        auto lFirst = std::make_unique<LauncherProcess>(lWorld.mfEnvironment(), QStringList());
        QVERIFY(lFirst->mfWaitFor(sBanner));
        LauncherProcess lSecond(lWorld.mfEnvironment(), {"-enablelogging", "-bogus"});
        QVERIFY(lSecond.mfProcess().waitForFinished(30000));
        QCOMPARE(lSecond.mfProcess().exitCode(), 0);
        QCOMPARE(lSecond.mfOutput(), QByteArray());
        QProcessEnvironment lOtherUser = lWorld.mfEnvironment("bob");
        lOtherUser.remove("XDG_RUNTIME_DIR"); // the guard's name is then a plain one
        LauncherProcess lBob(lOtherUser, {});
        QVERIFY(lBob.mfWaitFor(sBanner));
        QVERIFY(QFile::exists(QDir::temp().filePath("beamoralauncher_bob")));
        QCOMPARE(lFirst->mfProcess().state(), QProcess::Running);

        lFirst->mfProcess().kill();
        QVERIFY(lFirst->mfProcess().waitForFinished(30000));
        lFirst.reset();
        QVERIFY(QFile::exists(lWorld.mfGuard()));
        LauncherProcess lNext(lWorld.mfEnvironment(), {});
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
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        runtime.prepend(lWorld.mfPath("runtime") + '/');
        QVERIFY(QDir().mkpath(runtime));
        lEnvironment.insert("XDG_RUNTIME_DIR", runtime);
        LauncherProcess lLauncher(lEnvironment, arguments);
        QVERIFY(lLauncher.mfProcess().waitForFinished(30000));
        QCOMPARE(lLauncher.mfProcess().exitStatus(), QProcess::NormalExit);
        QCOMPARE(lLauncher.mfProcess().exitCode(), 0);
        QCOMPARE(QString::fromLatin1(lLauncher.mfOutput()), output.replace("%1", runtime));
    }

    void terminationSignalsEndCleanly_data()
    {
        QTest::addColumn<int>("signalNumber");
        QTest::newRow("SIGTERM") << int(SIGTERM);
        QTest::newRow("SIGINT") << int(SIGINT);
        QTest::newRow("SIGHUP") << int(SIGHUP);
    }

    void terminationSignalsEndCleanly()
    {
        QFETCH(int, signalNumber);
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(sListening));
        QVERIFY(QFile::exists(lWorld.mfGuard()));
        QCOMPARE(::kill(static_cast<pid_t>(lLauncher.mfProcess().processId()), signalNumber), 0);
        QVERIFY(lLauncher.mfProcess().waitForFinished(30000));
        QCOMPARE(lLauncher.mfProcess().exitStatus(), QProcess::NormalExit);
        QCOMPARE(lLauncher.mfProcess().exitCode(), 0);
        QVERIFY(!QFile::exists(lWorld.mfGuard()));
        // Lines of the guard's release are written while the process exits,
        // and keep their date like any other.
        const QStringList lLines = lLauncher.mfConsoleLines();
        QVERIFY(!lLines.isEmpty());
        QVERIFY2(QRegularExpression("^Debug\\t\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d:\\d{3}\\t"
                                    "\\[UBXLocalCommunication::UBXLocalCommunication\\] End$")
                     .match(lLines.last())
                     .hasMatch(),
                 qPrintable(lLines.last()));
        // The client is not killed with the launcher: it still takes requests.
        QVERIFY(!lWorld.mfRecord().contains("stand-in client exits"));
        QLocalSocket lToClient;
        lToClient.connectToServer("beamoraclient");
        QVERIFY(lToClient.waitForConnected(30000));
        lToClient.write(QByteArray("\x00\x04"
                                   "exit",
                                   6));
        QVERIFY(lToClient.waitForBytesWritten(30000));
        QVERIFY(lWorld.mfWaitForRecord("stand-in client exits"));
    }
};

QTEST_GUILESS_MAIN(tst_Launcher)
#include "tst_Launcher.moc"
