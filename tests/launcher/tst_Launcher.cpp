// End-to-end tests of the built launcher binary in a private environment:
// a simulated button (listing files written by the test), a stand-in client
// that records how it was started and what it received, and real local
// channels between the processes.
#include "FakeDesktopTools.h"
#include "LauncherUnderTest.h"
#include "SessionBuses.h"

#include <QLocalServer>
#include <QLocalSocket>
#include <QRegularExpression>
#include <QtTest>

#include <csignal>

namespace {
const int sWaitMs = 30000;
const QString sInsertedLaunching =
    QStringLiteral("Beamora Button was inserted. Launching client process.");
const QString sRemoved = QStringLiteral("Beamora Button was removed. Killing client process in 60 "
                                        "seconds (unless dongle is inserted again).");
const QString sExiting = QStringLiteral("Exiting client process.");
const QString sManagerRuns = QStringLiteral("Beamora Button was inserted. Not launching the client "
                                            "because an instance of Button Manager is running.");
} // namespace

class tst_Launcher : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void bannerGoesToConsoleAndLogFileHonoursItsLevel()
    {
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(),
                                  {QStringLiteral("-enablelogging"), QStringLiteral("-loglevel"),
                                   QStringLiteral("info")});
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        const QStringList lBanner = {QStringLiteral("Beamora Launcher started."),
                                     QStringLiteral("============================"),
                                     QStringLiteral("VERSION:00.00.00.trunk-1315"),
                                     QStringLiteral("BUILD:Mar 17 2015 05:39:22")};
        const int lFirst = lLauncher.mfIndexOf(lBanner.first());
        QVERIFY(lFirst >= 0);
        const auto lLines = lLauncher.mfConsoleLines();
        for (int i = 0; i < lBanner.size(); ++i) {
            QCOMPARE(lLines.at(lFirst + i).mvText, lBanner.at(i));
            QCOMPARE(lLines.at(lFirst + i).mvPrefix, QStringLiteral("Info"));
        }
        QVERIFY(QRegularExpression(QStringLiteral("^CPU CORES:[1-9][0-9]*$"))
                    .match(lLines.at(lFirst + 4).mvText)
                    .hasMatch());
        QCOMPARE(lLines.at(lFirst + 5).mvText, QStringLiteral("OS VERSION:Unknown"));
        // The console line carries the date as yyyy-MM-ddThh:mm:ss:zzz.
        QVERIFY(
            QRegularExpression(QStringLiteral("(^|\\n)Info\\t\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:"
                                              "\\d\\d:\\d{3}\\tBeamora Launcher started\\.\\n"))
                .match(QString::fromLatin1(lLauncher.mfOutput()))
                .hasMatch());

        lWorld.mpPlugButton();
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sInsertedLaunching) >= 0, sWaitMs);
        QCOMPARE(lLauncher.mfPrefixOf(sInsertedLaunching), QStringLiteral("Debug"));

        // Ending the launcher writes out everything queued for the file.
        lLauncher.mfProcess().terminate();
        QVERIFY(lLauncher.mfProcess().waitForFinished(sWaitMs));
        QFile lLog(lWorld.mfServiceLogPath());
        QVERIFY2(lLog.open(QIODevice::ReadOnly), qPrintable(lWorld.mfServiceLogPath()));
        const QString lContent = QString::fromUtf8(lLog.readAll());
        QVERIFY(lContent.startsWith(QStringLiteral("===== Log format: 2.0 Log file started on ")));
        QVERIFY(lContent.contains(QStringLiteral("\t: Beamora Launcher started.\n")));
        QVERIFY(lContent.contains(QStringLiteral("Info\t: Class 0\t: PID ")));
        // Debug lines reach the console but stay below the file's level.
        QVERIFY(!lContent.contains(sInsertedLaunching));
    }

    void withoutLoggingNoDataDirectoryIsMade()
    {
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        QCOMPARE(lLauncher.mfCount(
                     QStringLiteral("Launching client process %1.").arg(lWorld.mfClientProgram())),
                 1);
        QVERIFY(lWorld.mfRecordedLines().contains(QStringLiteral("stand-in client started: ")));
        QVERIFY(!QFile::exists(lWorld.mfPath("data") + QStringLiteral("/Lumora")));
    }

    void insertionStartsClientWithLoggingSwitches_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("levelName");
        QTest::newRow("warn") << QStringList{"-enablelogging", "-loglevel", "warn"}
                              << QStringLiteral("warn");
        QTest::newRow("upper case")
            << QStringList{"-loglevel", "DEBUG", "-enablelogging"} << QStringLiteral("debug");
        QTest::newRow("unknown word reads as error")
            << QStringList{"-enablelogging", "-loglevel", "verbose"} << QStringLiteral("error");
        QTest::newRow("last level wins")
            << QStringList{"-loglevel", "info", "-enablelogging", "-loglevel", "fatal"}
            << QStringLiteral("fatal");
    }

    void insertionStartsClientWithLoggingSwitches()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, levelName);
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), arguments);
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        const QStringList lRecord = lWorld.mfRecordedLines();
        QCOMPARE(
            lRecord.at(0),
            QStringLiteral("stand-in client started: -enablelogging -loglevel %1").arg(levelName));
        QCOMPARE(lRecord.at(1),
                 QStringLiteral("stand-in client directory: %1").arg(lWorld.mfPath("client")));
        const QString lLaunching = QStringLiteral("Launching process %1 with logging enabled at "
                                                  "level '%2'.")
                                       .arg(lWorld.mfClientProgram(), levelName);
        QTRY_COMPARE_WITH_TIMEOUT(lLauncher.mfPrefixOf(lLaunching), QStringLiteral("Debug"),
                                  sWaitMs);
        QVERIFY(lLauncher.mfIndexOf(sInsertedLaunching) < lLauncher.mfIndexOf(lLaunching));
        QVERIFY(QFile::exists(lWorld.mfServiceLogPath()));
    }

    void removalAsksClientToExitAfterTheDelay()
    {
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        lWorld.mpPullButton();
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sRemoved) >= 0, sWaitMs);
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client received: exit")));
        // Exactly one frame, as it travels: length 4, big-endian, then "exit".
        QVERIFY(lWorld.mfRecordedLines().contains(
            QStringLiteral("stand-in client frame: 000465786974")));
        // The launcher's console line may reach the test after the client's record.
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sExiting) > lLauncher.mfIndexOf(sRemoved),
                                 sWaitMs);
        QTRY_VERIFY_WITH_TIMEOUT(
            lLauncher.mfIndexOf(QStringLiteral("Process finished. Exit code: 0")) >= 0, sWaitMs);
    }

    void reinsertionWithinTheDelayCancelsTheExit()
    {
        LauncherWorld lWorld;
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        const int lDelayMs = 4000;
        lEnvironment.insert(QStringLiteral("BEAMORA_EXIT_DELAY_MS"), QString::number(lDelayMs));
        LauncherProcess lLauncher(lEnvironment, {});
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        lWorld.mpPullButton();
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sRemoved) >= 0, sWaitMs);
        QElapsedTimer lSinceRemoval;
        lSinceRemoval.start();
        lWorld.mpPlugButton();
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfCount(sInsertedLaunching) == 2, sWaitMs);
        // Had the timer survived the re-insertion it would fire within this window.
        QTest::qWait(qMax<qint64>(0, lDelayMs + 1000 - lSinceRemoval.elapsed()));
        QCOMPARE(lLauncher.mfCount(sExiting), 0);
        QVERIFY(
            !lWorld.mfRecordedLines().contains(QStringLiteral("stand-in client received: exit")));

        lWorld.mpPullButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client received: exit")));
        QTRY_COMPARE_WITH_TIMEOUT(lLauncher.mfCount(sExiting), 1, sWaitMs);
        const int lSecondRemoval = lLauncher.mfIndexOf(sRemoved, lLauncher.mfIndexOf(sRemoved) + 1);
        QVERIFY(lSecondRemoval > 0);
        QVERIFY(lLauncher.mfIndexOf(sExiting) > lSecondRemoval);
    }

    void lockedSessionDelaysTheLaunchUntilUnlock()
    {
        LauncherWorld lWorld;
        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        QVERIFY(lTools.mfWrite(QStringLiteral("org.gnome.ScreenSaver.reply"), "(false,)\n"));
        QVERIFY(lTools.mfWrite(QStringLiteral("com.canonical.Unity.reply"), "(true,)\n"));
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        lEnvironment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("Unity"));
        lWorld.mpPlugButton();
        LauncherProcess lLauncher(lEnvironment, {});
        const QString lLocked =
            QStringLiteral("The executable is not running on the input desktop.");
        const QString lUnlocked = QStringLiteral("The executable is running on the input desktop.");
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(lLocked) >= 0, sWaitMs);
        QCOMPARE(lLauncher.mfPrefixOf(lLocked), QStringLiteral("Debug"));

        QVERIFY(lTools.mfWrite(QStringLiteral("com.canonical.Unity.reply"), "(false,)\n"));
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        // The button was in all along: the launch waited for the unlock.
        QTRY_VERIFY_WITH_TIMEOUT(
            lLauncher.mfIndexOf(sInsertedLaunching) > lLauncher.mfIndexOf(lUnlocked), sWaitMs);
        QVERIFY(lLauncher.mfIndexOf(lUnlocked) > lLauncher.mfIndexOf(lLocked));
        QVERIFY(lTools.mfCalls().contains(QStringLiteral(
            "gdbus call -e -d com.canonical.Unity -o /com/canonical/Unity/Session -m "
            "com.canonical.Unity.Session.IsLocked")));
    }

    // Ubuntu's GNOME session: only logind knows of the lock.
    void logindLockDelaysTheLaunchUntilUnlock()
    {
        LauncherWorld lWorld;
        SessionBuses lBuses;
        QVERIFY(lBuses.mfIsValid());
        QVERIFY(lBuses.mfSet("LockedHint true"));
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        lEnvironment.insert(lBuses.mfBuses());
        lEnvironment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("ubuntu:GNOME"));
        lEnvironment.insert(QStringLiteral("GDMSESSION"), QStringLiteral("ubuntu"));
        lWorld.mpPlugButton();
        LauncherProcess lLauncher(lEnvironment, {});
        const QString lLocked =
            QStringLiteral("The executable is not running on the input desktop.");
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(lLocked) >= 0, sWaitMs);
        QCOMPARE(lLauncher.mfIndexOf(QStringLiteral("Session lock state from logind.")),
                 lLauncher.mfIndexOf(lLocked) - 1);

        QVERIFY(lBuses.mfSet("LockedHint false"));
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sInsertedLaunching) >
                                     lLauncher.mfIndexOf(QStringLiteral(
                                         "The executable is running on the input desktop.")),
                                 sWaitMs);
    }

    void runningButtonManagerSuppressesLaunchButNotExit()
    {
        LauncherWorld lWorld;
        QLocalServer lManager;
        QVERIFY(lManager.listen(QStringLiteral("beamorabuttonmanager")));
        QProcess lClient;
        QProcessEnvironment lClientEnvironment = lWorld.mfEnvironment();
        lClient.setProcessEnvironment(lClientEnvironment);
        lClient.start(lWorld.mfClientProgram(), {QStringLiteral("manual")});
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));

        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        lWorld.mpPlugButton();
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(sManagerRuns) >= 0, sWaitMs);
        QCOMPARE(lLauncher.mfPrefixOf(sManagerRuns), QStringLiteral("Info"));
        QCOMPARE(lLauncher.mfCount(sInsertedLaunching), 0);
        QCOMPARE(lWorld.mfRecordedLines().filter(QStringLiteral("stand-in client started")).size(),
                 1);
        // The manager's name is still its own after the probe.
        QVERIFY(lManager.isListening());

        lWorld.mpPullButton();
        QVERIFY(lClient.waitForFinished(sWaitMs));
        QVERIFY(
            lWorld.mfRecordedLines().contains(QStringLiteral("stand-in client received: exit")));
    }

    void secondInstanceOfTheSameUserLeavesSilently()
    {
        LauncherWorld lWorld;
        LauncherProcess lFirst(lWorld.mfEnvironment(QStringLiteral("alice")), {});
        QTRY_VERIFY_WITH_TIMEOUT(lFirst.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        QVERIFY(QFile::exists(lWorld.mfPath("runtime") + QStringLiteral("/beamoralauncher_alice")));

        LauncherProcess lSecond(lWorld.mfEnvironment(QStringLiteral("alice")),
                                {QStringLiteral("-enablelogging"), QStringLiteral("-bogus")});
        QVERIFY(lSecond.mfProcess().waitForFinished(sWaitMs));
        QCOMPARE(lSecond.mfProcess().exitStatus(), QProcess::NormalExit);
        QCOMPARE(lSecond.mfProcess().exitCode(), 0);
        QCOMPARE(lSecond.mfOutput(), QByteArray());

        LauncherProcess lOtherUser(lWorld.mfEnvironment(QStringLiteral("bob")), {});
        QTRY_VERIFY_WITH_TIMEOUT(lOtherUser.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        QCOMPARE(lFirst.mfProcess().state(), QProcess::Running);
    }

    void guardLeftByKilledLauncherIsTakenOver()
    {
        LauncherWorld lWorld;
        const QString lGuard = lWorld.mfPath("runtime") + QStringLiteral("/beamoralauncher_alice");
        {
            LauncherProcess lKilled(lWorld.mfEnvironment(), {});
            QTRY_VERIFY_WITH_TIMEOUT(lKilled.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                     sWaitMs);
            lKilled.mfProcess().kill();
            QVERIFY(lKilled.mfProcess().waitForFinished(sWaitMs));
        }
        QVERIFY(QFile::exists(lGuard));
        LauncherProcess lNext(lWorld.mfEnvironment(), {});
        QTRY_VERIFY_WITH_TIMEOUT(lNext.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        QCOMPARE(lNext.mfProcess().state(), QProcess::Running);
    }

    void guardWithoutRuntimeDirectoryUsesThePlainName()
    {
        LauncherWorld lWorld;
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment(QStringLiteral("carol"));
        lEnvironment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
        LauncherProcess lLauncher(lEnvironment, {});
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        QVERIFY(QFile::exists(QDir::temp().filePath(QStringLiteral("beamoralauncher_carol"))));
    }

    // A guard name that no socket address can hold (107 bytes at most) must
    // not make the launcher vanish without a word.
    void guardThatCannotBeTakenIsReported()
    {
        LauncherWorld lWorld;
        const QString lRuntime = lWorld.mfPath("runtime") + QLatin1Char('/') + QString(100, u'r');
        QVERIFY(QDir().mkpath(lRuntime));
        QProcessEnvironment lEnvironment = lWorld.mfEnvironment();
        lEnvironment.insert(QStringLiteral("XDG_RUNTIME_DIR"), lRuntime);
        LauncherProcess lLauncher(lEnvironment, {});
        QVERIFY(lLauncher.mfProcess().waitForFinished(sWaitMs));
        QCOMPARE(lLauncher.mfProcess().exitCode(), 0);
        QCOMPARE(QString::fromLatin1(lLauncher.mfOutput()),
                 QStringLiteral("ERROR: Could not take the single-instance channel \"%1\".\n")
                     .arg(lRuntime + QStringLiteral("/beamoralauncher_alice")));
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
        const QString lGuard = lWorld.mfPath("runtime") + QStringLiteral("/beamoralauncher_alice");
        LauncherProcess lLauncher(lWorld.mfEnvironment(), {});
        lWorld.mpPlugButton();
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client listening")));
        QVERIFY(QFile::exists(lGuard));
        QCOMPARE(::kill(static_cast<pid_t>(lLauncher.mfProcess().processId()), signalNumber), 0);
        QVERIFY(lLauncher.mfProcess().waitForFinished(sWaitMs));
        QCOMPARE(lLauncher.mfProcess().exitStatus(), QProcess::NormalExit);
        QCOMPARE(lLauncher.mfProcess().exitCode(), 0);
        QVERIFY(!QFile::exists(lGuard));
        // Lines of the guard's release are written while the process exits,
        // and keep their date like any other.
        const QString lLastLine =
            QStringLiteral("[UBXLocalCommunication::UBXLocalCommunication] End");
        const auto lLines = lLauncher.mfConsoleLines();
        QVERIFY(!lLines.isEmpty());
        QCOMPARE(lLines.last().mvText, lLastLine);
        QVERIFY2(QDateTime::fromString(lLines.last().mvDateTime,
                                       QStringLiteral("yyyy-MM-ddThh:mm:ss:zzz"))
                     .isValid(),
                 qPrintable(lLines.last().mvDateTime));
        // The client is not killed with the launcher: it still takes requests.
        QVERIFY(!lWorld.mfRecordedLines().contains(QStringLiteral("stand-in client exits")));
        QLocalSocket lToClient;
        lToClient.connectToServer(QStringLiteral("beamoraclient"));
        QVERIFY(lToClient.waitForConnected(sWaitMs));
        lToClient.write(QByteArray("\x00\x04"
                                   "exit",
                                   6));
        QVERIFY(lToClient.waitForBytesWritten(sWaitMs));
        QVERIFY(lWorld.mfWaitForRecord(QStringLiteral("stand-in client exits")));
    }

    void switchErrors_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<bool>("keepsRunning");
        QTest::newRow("level name missing")
            << QStringList{"-enablelogging", "-loglevel"}
            << QByteArray("ERROR: Too few arguments while defining log level.\n") << false;
        QTest::newRow("status refused")
            << QStringList{"-loglevel", "status"}
            << QByteArray("ERROR: \"status\" is not a known log level.\n") << false;
        QTest::newRow("unknown switch goes on")
            << QStringList{"-foo", "-enablelogging"}
            << QByteArray("ERROR: Invalid switch \"-foo\"\n") << true;
    }

    void switchErrors()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, output);
        QFETCH(bool, keepsRunning);
        LauncherWorld lWorld;
        LauncherProcess lLauncher(lWorld.mfEnvironment(), arguments);
        if (!keepsRunning) {
            QVERIFY(lLauncher.mfProcess().waitForFinished(sWaitMs));
            QCOMPARE(lLauncher.mfProcess().exitStatus(), QProcess::NormalExit);
            QCOMPARE(lLauncher.mfProcess().exitCode(), 0);
            QCOMPARE(lLauncher.mfOutput(), output);
            return;
        }
        QTRY_VERIFY_WITH_TIMEOUT(lLauncher.mfIndexOf(QStringLiteral("OS VERSION:Unknown")) >= 0,
                                 sWaitMs);
        QVERIFY(lLauncher.mfOutput().startsWith(output));
        QVERIFY(QFile::exists(lWorld.mfServiceLogPath()));
    }
};

QTEST_GUILESS_MAIN(tst_Launcher)
#include "tst_Launcher.moc"
