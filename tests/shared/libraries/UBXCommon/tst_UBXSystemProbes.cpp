#include "FakeDesktopTools.h"
#include "LogCapture.h"
#include "SessionBuses.h"
#include "TestFiles.h"
#include "UBXSystemProbes.h"

#include <QtTest>

namespace {
const QString sGetActive =
    QStringLiteral("gdbus call -e -d org.gnome.ScreenSaver -o /org/gnome/ScreenSaver -m "
                   "org.gnome.ScreenSaver.GetActive");
const QString sIsLocked =
    QStringLiteral("gdbus call -e -d com.canonical.Unity -o /com/canonical/Unity/Session -m "
                   "com.canonical.Unity.Session.IsLocked");
const QString sQuery = QStringLiteral("gnome-screensaver-command -q");
const QString sPresence = QStringLiteral(
    "gdbus call -e -d org.gnome.SessionManager -o /org/gnome/SessionManager/Presence -m "
    "org.freedesktop.DBus.Properties.Get /org/gnome/SessionManager/Presence status");

// Still executing: neither gone nor a zombie that nobody reaped.
bool gfIsRunning(const QString& aPid)
{
    QFile lStat(QStringLiteral("/proc/%1/stat").arg(aPid));
    const QByteArray lStatus = lStat.open(QIODevice::ReadOnly) ? lStat.readAll() : "() X";
    return !QByteArray("ZX").contains(lStatus.at(lStatus.lastIndexOf(')') + 2));
}

// Child mode: one scan of the listing directory, reported on standard output
// as the answer and the items it logged.
int gfProbeListing(const QString& aDirectory)
{
    qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(aDirectory));
    LogCapture lLog;
    QString lPath;
    QTextStream lOut(stdout);
    lOut << (gpDetectDevice("Lumora", {}, "Beamora", {}, {}, lPath) ? "found\n" : "not found\n");
    for (const ICLoggerItem& lItem : lLog.mfItems())
        lOut << lItem.mfGetLevel() << ' ' << lItem.mfGetText() << '\n';
    return 0;
}
} // namespace

class tst_UBXSystemProbes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Blocked unless a probe answers that it is free. A hanging tool runs under a shell with
    // a child of its own (two pids): none may survive the probe giving up.
    void sessionProbe_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("gdmSession");
        QTest::addColumn<QStringList>("files"); // name, content, ...; a lone name first: tool gone
        QTest::addColumn<bool>("blocked");
        QTest::addColumn<QStringList>("calls");
        const QString lSaver = "org.gnome.ScreenSaver.reply", lUnity = "com.canonical.Unity.reply",
                      lQuery = "gnome-screensaver-command.reply",
                      lPresence = "org.gnome.SessionManager.reply", lNo = "(false,)\n",
                      lYes = "(true,)\n", lOn = "The screensaver is active\n",
                      lOff = "The screensaver is inactive\n", lAvailable = "(<uint32 0>,)\n";
        const auto lRow = [](const char* aName, const char* aDesktop, const char* aGdm,
                             const QStringList& aFiles, bool aBlocked, const QStringList& aCalls) {
            QTest::newRow(aName) << QByteArray(aDesktop) << QByteArray(aGdm) << aFiles << aBlocked
                                 << aCalls;
        };
        lRow("unity, free", "unity", "", {lSaver, lNo, lUnity, lNo}, false,
             {sGetActive, sIsLocked});
        lRow("Unity, locked", "Unity", "gnome", {lSaver, lNo, lUnity, lYes}, true,
             {sGetActive, sIsLocked});
        lRow("UNITY, screen saver on", "UNITY", "", {lSaver, lYes, lUnity, lNo}, true,
             {sGetActive});
        lRow("Unity, screen saver hangs", "Unity", "",
             {"org.gnome.ScreenSaver.hang", "", lUnity, lNo}, true, {sGetActive});
        lRow("unity, no gdbus", "unity", "", {"gdbus"}, true, {});
        lRow("ubuntu:GNOME falls through", "ubuntu:GNOME", "gnome",
             {lQuery, lOff, lPresence, lAvailable}, false, {sQuery, sPresence});
        lRow("GNOME, idle", "", "GNOME", {lQuery, lOff, lPresence, "(<uint32 3>,)\n"}, true,
             {sQuery, sPresence});
        lRow("gnome, screen saver on", "", "gnome", {lQuery, lOn, lPresence, lAvailable}, true,
             {sQuery});
        lRow("gnome, no screen-saver tool", "", "gnome", {lQuery, lPresence, lAvailable}, true, {});
        lRow("gnome-classic runs nothing", "ubuntu:GNOME", "gnome-classic", {lQuery, lOn}, false,
             {});
    }
    void sessionProbe()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, gdmSession);
        QFETCH(QStringList, files);
        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        if (files.size() % 2)
            QVERIFY(QFile::remove(lTools.mfPath(qPrintable(files.takeFirst().section('.', 0, 0)))));
        for (int lIndex = 0; lIndex < files.size(); lIndex += 2)
            QVERIFY(lTools.mfWrite(files[lIndex], files[lIndex + 1].toLatin1()));
        qputenv("XDG_CURRENT_DESKTOP", desktop);
        qputenv("GDMSESSION", gdmSession);
        QTEST(gfIsSessionBlocked(), "blocked");
        QTEST(lTools.mfCalls(), "calls");
        const QStringList lPids = lTools.mfLines("pids");
        QCOMPARE(lPids.size(), 2 * files.count("org.gnome.ScreenSaver.hang"));
        for (const QString& lPid : lPids)
            QTRY_VERIFY_WITH_TIMEOUT(!gfIsRunning(lPid), 10000);
    }

    // In a child process each, since the logind session is looked up once per
    // process. GNOME lacks its screen-saver tool; its presence is "available".
    void sessionBuses_data()
    {
        QTest::addColumn<QString>("gdmSession");
        QTest::addColumn<QString>("sessionId");
        QTest::addColumn<QString>("bus"); // the private bus the child is given
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QByteArray>("answer");
        const auto lRow = [](const char* aName, const char* aGdm, const char* aId, const char* aBus,
                             const char* aState, const char* aAnswer) {
            QTest::newRow(aName) << aGdm << aId << QString("DBUS_%1_BUS_ADDRESS").arg(aBus)
                                 << QByteArray(aState) << QByteArray(aAnswer);
        };
        lRow("ubuntu, locked", "ubuntu", "1", "SYSTEM", "LockedHint true", "blocked");
        lRow("gnome-xorg, inactive, found by process", "gnome-xorg", "", "SYSTEM", "Active false",
             "blocked");
        lRow("no such session id", "ubuntu", "7", "SYSTEM", "LockedHint true", "free");
        lRow("gnome, tool missing, shell active", "gnome", "1", "SESSION", "ScreenSaverActive true",
             "blocked");
    }
    void sessionBuses()
    {
        QFETCH(QString, gdmSession);
        QFETCH(QString, sessionId);
        QFETCH(QString, bus);
        QFETCH(QByteArray, state);
        SessionBuses lBuses;
        QVERIFY(lBuses.mfIsValid());
        QVERIFY(state.isEmpty() || lBuses.mfSet(state));
        FakeDesktopTools lTools; // after the buses: it takes dbus-daemon off PATH
        QVERIFY(lTools.mfIsValid());
        QVERIFY(QFile::remove(lTools.mfPath("gnome-screensaver-command")));
        QVERIFY(lTools.mfWrite(QStringLiteral("org.gnome.SessionManager.reply"), "(<uint32 0>,)"));
        QProcessEnvironment lEnvironment = QProcessEnvironment::systemEnvironment();
        lEnvironment.insert("XDG_CURRENT_DESKTOP", "ubuntu:GNOME");
        lEnvironment.insert("GDMSESSION", gdmSession);
        lEnvironment.insert("XDG_SESSION_ID", sessionId);
        lEnvironment.insert(bus, lBuses.mfBuses().value(bus));
        QProcess lChild;
        lChild.setProcessEnvironment(lEnvironment);
        lChild.start(QCoreApplication::applicationFilePath(), {"--probe-session"});
        QVERIFY(lChild.waitForFinished(30000));
        QTEST(lChild.readAllStandardOutput().trimmed(), "answer");
    }

    // Files 6, 7, ... of the listing, then one of mode 000 that holds the product
    // line. Root opens any file; in a user namespace of its own the child has
    // no such right over the test's files.
    void usbListing_data()
    {
        QTest::addColumn<QByteArrayList>("files");
        QTest::addColumn<QByteArray>("locked");
        QTest::addColumn<QByteArray>("output"); // the answer and what was logged
        const QByteArray lNone, lProduct = "      Product: Beamora\n";
        const QByteArray lFound = "found\n", lNotFound = "not found\n";
        const QByteArray lError = "4 Error opening USB information ...\n";
        QTest::newRow("the button among others")
            << QByteArrayList{gfUsbListing("Generic", "Flash Disk"), gfUsbListing()} << lNone
            << lFound;
        QTest::newRow("vendor in lower case")
            << QByteArrayList{gfUsbListing("lumora")} << lNone << lNotFound;
        QTest::newRow("product in upper case")
            << QByteArrayList{gfUsbListing("Lumora", "BEAMORA")} << lNone << lNotFound;
        // The second file lacks a line and keeps the first one's value.
        QTest::newRow("values carry over between files")
            << QByteArrayList{"       Vendor: Lumora\n", lProduct} << lNone << lFound;
        QTest::newRow("text ends at a zero byte")
            << QByteArrayList{QByteArray("Vendor: Lumora\n") + '\0' + lProduct} << lNone
            << lNotFound;
        QTest::newRow("no directory") << QByteArrayList() << lNone << lNotFound;
        QTest::newRow("unreadable file logged, values of the readable one only")
            << QByteArrayList{"       Vendor: Lumora\n"} << lProduct << lNotFound + lError;
        // Logged whenever the walk reaches the file before a match.
        QTest::newRow("unreadable file logged, the walk goes on")
            << QByteArrayList{gfUsbListing()} << lProduct << lFound + lError;
    }
    void usbListing()
    {
        QFETCH(QByteArrayList, files);
        QFETCH(QByteArray, locked);
        QFETCH(QByteArray, output);
        QTemporaryDir lDirectory;
        QVERIFY(QFile::setPermissions(lDirectory.path(), QFile::permissions(lDirectory.path()) |
                                                             QFileDevice::ReadOther |
                                                             QFileDevice::ExeOther));
        if (!locked.isEmpty())
            files << locked;
        for (int lIndex = 0; lIndex < files.size(); ++lIndex)
            QVERIFY(gfWriteFile(lDirectory.filePath(QString::number(lIndex + 6)), files[lIndex]));
        QString lProgram = QCoreApplication::applicationFilePath();
        QStringList lArguments{"--probe-listing",
                               lDirectory.filePath(files.isEmpty() ? "none" : "")};
        if (!locked.isEmpty()) {
            const QString lLast = lDirectory.filePath(QString::number(files.size() + 5));
            QVERIFY(QFile::setPermissions(lLast, QFileDevice::Permissions()));
            lArguments = QStringList{"--user", lProgram} + lArguments;
            lProgram = QStandardPaths::findExecutable(QStringLiteral("unshare"));
            if (lProgram.isEmpty())
                QSKIP("unshare (util-linux) is not installed");
        }
        QProcess lChild;
        lChild.start(lProgram, lArguments);
        QVERIFY(lChild.waitForFinished(30000));
        const QByteArray lOutput = lChild.readAllStandardOutput();
        if (lChild.exitStatus() == QProcess::NormalExit && lChild.exitCode() && lOutput.isEmpty())
            QSKIP("unshare: no user namespaces here");
        QVERIFY2(lOutput == output || (output.startsWith("found\n") && lOutput == "found\n"),
                 lOutput);
    }

    // Name, manufacturer, product; the interface 1-1:1.0 has neither.
    void sysfsDevices()
    {
        QTemporaryDir lRoot;
        for (const QByteArrayList& lDevice :
             QList<QByteArrayList>{{"usb1", "Linux xhci-hcd\n", "xHCI Host Controller\n"},
                                   {"1-1", "Lumora\n", "Beamora\n"},
                                   {"1-1:1.0"},
                                   {"1-2", "  Generic \n", "Flash Disk\n"}}) {
            const QString lPath = lRoot.filePath(QString::fromLatin1(lDevice[0]));
            QVERIFY(QDir().mkpath(lPath));
            QVERIFY(lDevice.size() == 1 || (gfWriteFile(lPath + "/manufacturer", lDevice[1]) &&
                                            gfWriteFile(lPath + "/product", lDevice[2])));
        }
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lRoot.path()));
        QVERIFY(gfDetectSysfsUsbDevice("Lumora", "Beamora"));
        QVERIFY(gfDetectSysfsUsbDevice("Generic", "Flash Disk"));
        QVERIFY(!gfDetectSysfsUsbDevice("lumora", "Beamora"));
        QVERIFY(!gfDetectSysfsUsbDevice("Linux xhci-hcd", "Beamora")); // two devices' halves
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lRoot.filePath("none")));
        QVERIFY(!gfDetectSysfsUsbDevice("Lumora", "Beamora"));
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], "--probe-listing") == 0)
        return gfProbeListing(QString::fromLocal8Bit(argv[2]));
    if (argc == 2 && qstrcmp(argv[1], "--probe-session") == 0)
        return std::puts(gfIsSessionBlocked() ? "blocked" : "free") < 0;
    tst_UBXSystemProbes lTest;
    return QTest::qExec(&lTest, argc, argv);
}
#include "tst_UBXSystemProbes.moc"
