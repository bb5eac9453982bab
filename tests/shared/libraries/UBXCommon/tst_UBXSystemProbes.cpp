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

void gpSetVariable(const char* aName, const QByteArray& aValue)
{
    if (aValue.isNull())
        qunsetenv(aName);
    else
        qputenv(aName, aValue);
}

// Still executing: neither gone nor a zombie that nobody reaped.
bool gfIsRunning(const QString& aPid)
{
    QFile lStat(QStringLiteral("/proc/%1/stat").arg(aPid));
    if (!lStat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray lStatus = lStat.readAll();
    const char lState = lStatus.mid(lStatus.lastIndexOf(')') + 2, 1).at(0);
    return lState != 'Z' && lState != 'X';
}

const char* const sProbeArgument = "--probe-listing";
const char* const sSessionArgument = "--probe-session";

// Child mode: one scan of the listing directory, reported on standard output
// as the answer and the items it logged.
int gfProbeListing(const QString& aDirectory)
{
    qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(aDirectory));
    LogCapture lLog;
    QString lPath;
    const bool lFound = gpDetectDevice(QStringLiteral("Lumora"), QString(),
                                       QStringLiteral("Beamora"), QString(), QString(), lPath);
    QTextStream lOut(stdout);
    lOut << (lFound ? "found" : "not found") << '\n';
    for (const ICLoggerItem& lItem : lLog.mfItems())
        lOut << lItem.mfGetLevel() << ' ' << lItem.mfGetText() << '\n';
    return 0;
}

} // namespace

class tst_UBXSystemProbes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void cleanup()
    {
        for (const char* lName : {"XDG_CURRENT_DESKTOP", "GDMSESSION", "BEAMORA_USB_STORAGE_DIR",
                                  "BEAMORA_SYSFS_USB_DIR"})
            qunsetenv(lName);
    }

    void sessionProbe_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("gdmSession");
        QTest::addColumn<QStringList>("replies"); // key, reply, key, reply ...
        QTest::addColumn<bool>("blocked");
        QTest::addColumn<QStringList>("calls");

        const QString lSaver = QStringLiteral("org.gnome.ScreenSaver");
        const QString lUnity = QStringLiteral("com.canonical.Unity");
        const QString lQuery = QStringLiteral("gnome-screensaver-command");
        const QString lPresence = QStringLiteral("org.gnome.SessionManager");
        const QString lNo = QStringLiteral("(false,)\n");
        const QString lYes = QStringLiteral("(true,)\n");
        const QString lInactive = QStringLiteral("The screensaver is inactive\n");
        const QString lActive = QStringLiteral("The screensaver is active\n");
        const QString lAvailable = QStringLiteral("(<uint32 0>,)\n");

        QTest::newRow("unity, free")
            << QByteArray("unity") << QByteArray() << QStringList{lSaver, lNo, lUnity, lNo} << false
            << QStringList{sGetActive, sIsLocked};
        QTest::newRow("Unity, locked")
            << QByteArray("Unity") << QByteArray("gnome") << QStringList{lSaver, lNo, lUnity, lYes}
            << true << QStringList{sGetActive, sIsLocked};
        QTest::newRow("UNITY, screen saver on")
            << QByteArray("UNITY") << QByteArray() << QStringList{lSaver, lYes, lUnity, lNo} << true
            << QStringList{sGetActive};
        QTest::newRow("unity, no gdbus")
            << QByteArray("unity") << QByteArray() << QStringList{QStringLiteral("gdbus")} << true
            << QStringList();
        QTest::newRow("ubuntu:GNOME falls through")
            << QByteArray("ubuntu:GNOME") << QByteArray("gnome")
            << QStringList{lQuery, lInactive, lPresence, lAvailable} << false
            << QStringList{sQuery, sPresence};
        QTest::newRow("GNOME, idle")
            << QByteArray() << QByteArray("GNOME")
            << QStringList{lQuery, lInactive, lPresence, QStringLiteral("(<uint32 3>,)\n")} << true
            << QStringList{sQuery, sPresence};
        QTest::newRow("gnome, screen saver on")
            << QByteArray() << QByteArray("gnome")
            << QStringList{lQuery, lActive, lPresence, lAvailable} << true << QStringList{sQuery};
        QTest::newRow("gnome, no screen-saver tool")
            << QByteArray() << QByteArray("gnome") << QStringList{lQuery, lPresence, lAvailable}
            << true << QStringList();
        QTest::newRow("gnome-classic runs nothing")
            << QByteArray("ubuntu:GNOME") << QByteArray("gnome-classic")
            << QStringList{lQuery, lActive} << false << QStringList();
    }

    // A reply list of odd length names a tool to remove first.
    void sessionProbe()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, gdmSession);
        QFETCH(QStringList, replies);
        QFETCH(bool, blocked);
        QFETCH(QStringList, calls);

        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        if (replies.size() % 2)
            QVERIFY(QFile::remove(lTools.mfPath(qPrintable(replies.takeFirst()))));
        for (int lIndex = 0; lIndex < replies.size(); lIndex += 2)
            QVERIFY(
                lTools.mfWrite(replies.at(lIndex) + ".reply", replies.at(lIndex + 1).toLatin1()));
        gpSetVariable("XDG_CURRENT_DESKTOP", desktop);
        gpSetVariable("GDMSESSION", gdmSession);

        QCOMPARE(gfIsSessionBlocked(), blocked);
        QCOMPARE(lTools.mfCalls(), calls);
    }

    // The tool runs under a shell and has a child of its own; none of them may
    // survive the probe giving up.
    void hangingToolIsCutOff()
    {
        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        QVERIFY(lTools.mfWrite(QStringLiteral("org.gnome.ScreenSaver.hang"), QByteArray()));
        QVERIFY(lTools.mfWrite(QStringLiteral("com.canonical.Unity.reply"), "(false,)\n"));
        qputenv("XDG_CURRENT_DESKTOP", "Unity");

        QVERIFY(gfIsSessionBlocked());
        QCOMPARE(lTools.mfCalls(), QStringList{sGetActive});
        const QStringList lPids = lTools.mfLines("pids");
        QCOMPARE(lPids.size(), 2);
        for (const QString& lPid : lPids)
            QTRY_VERIFY_WITH_TIMEOUT(!gfIsRunning(lPid), 10000);
    }

    // In a child process each, since the logind session is looked up once per
    // process. GNOME lacks its screen-saver tool; its presence is "available".
    void sessionBuses_data()
    {
        QTest::addColumn<QByteArray>("gdmSession");
        QTest::addColumn<QByteArray>("sessionId");
        QTest::addColumn<QString>("bus"); // the private bus the child is given
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<bool>("blocked");
        const QString lSystem = QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS");
        const QString lSession = QStringLiteral("DBUS_SESSION_BUS_ADDRESS");
        QTest::newRow("ubuntu, unlocked")
            << QByteArray("ubuntu") << QByteArray("1") << lSystem << QByteArray() << false;
        QTest::newRow("ubuntu, locked") << QByteArray("ubuntu") << QByteArray("1") << lSystem
                                        << QByteArray("LockedHint true") << true;
        QTest::newRow("gnome-xorg, inactive, found by process")
            << QByteArray("gnome-xorg") << QByteArray() << lSystem << QByteArray("Active false")
            << true;
        QTest::newRow("no such session id") << QByteArray("ubuntu") << QByteArray("7") << lSystem
                                            << QByteArray("LockedHint true") << false;
        QTest::newRow("gnome, tool missing, shell free")
            << QByteArray("gnome") << QByteArray("1") << lSession << QByteArray() << false;
        QTest::newRow("gnome, tool missing, shell active")
            << QByteArray("gnome") << QByteArray("1") << lSession
            << QByteArray("ScreenSaverActive true") << true;
    }

    void sessionBuses()
    {
        QFETCH(QByteArray, gdmSession);
        QFETCH(QByteArray, sessionId);
        QFETCH(QString, bus);
        QFETCH(QByteArray, state);
        QFETCH(bool, blocked);
        SessionBuses lBuses;
        QVERIFY(lBuses.mfIsValid());
        QVERIFY(state.isEmpty() || lBuses.mfSet(state));
        FakeDesktopTools lTools; // after the buses: it takes dbus-daemon off PATH
        QVERIFY(lTools.mfIsValid());
        QVERIFY(QFile::remove(lTools.mfPath("gnome-screensaver-command")));
        QVERIFY(lTools.mfWrite(QStringLiteral("org.gnome.SessionManager.reply"), "(<uint32 0>,)"));

        QProcessEnvironment lEnvironment = QProcessEnvironment::systemEnvironment();
        lEnvironment.insert(QStringLiteral("XDG_CURRENT_DESKTOP"), QStringLiteral("ubuntu:GNOME"));
        lEnvironment.insert(QStringLiteral("GDMSESSION"), QString::fromLatin1(gdmSession));
        lEnvironment.insert(QStringLiteral("XDG_SESSION_ID"), QString::fromLatin1(sessionId));
        lEnvironment.insert(bus, lBuses.mfBuses().value(bus));
        QProcess lChild;
        lChild.setProcessEnvironment(lEnvironment);
        lChild.start(QCoreApplication::applicationFilePath(), {QLatin1String(sSessionArgument)});
        QVERIFY(lChild.waitForFinished(30000));
        QCOMPARE(lChild.readAllStandardOutput(), QByteArray(blocked ? "blocked\n" : "free\n"));
    }

    void usbListing_data()
    {
        QTest::addColumn<QList<QByteArray>>("files");
        QTest::addColumn<bool>("found");

        QTest::newRow("the button") << QList<QByteArray>{gfUsbListing("Lumora", "Beamora")} << true;
        QTest::newRow("vendor in lower case")
            << QList<QByteArray>{gfUsbListing("lumora", "Beamora")} << false;
        QTest::newRow("product in upper case")
            << QList<QByteArray>{gfUsbListing("Lumora", "BEAMORA")} << false;
        QTest::newRow("the button among others")
            << QList<QByteArray>{gfUsbListing("Generic", "Flash Disk"),
                                 gfUsbListing("Lumora", "Beamora"),
                                 gfUsbListing("Kingston", "DataTraveler")}
            << true;
        // In either order the second file lacks a line and keeps the first one's value.
        QTest::newRow("values carry over between files")
            << QList<QByteArray>{"       Vendor: Lumora\n", "      Product: Beamora\n"} << true;
        QTest::newRow("text ends at a zero byte")
            << QList<QByteArray>{QByteArray("Vendor: Lumora\n") + '\0' + "Product: Beamora\n"}
            << false;
        QTest::newRow("empty directory") << QList<QByteArray>() << false;
    }

    void usbListing()
    {
        QFETCH(QList<QByteArray>, files);
        QFETCH(bool, found);

        QTemporaryDir lDirectory;
        QVERIFY(lDirectory.isValid());
        for (int lIndex = 0; lIndex < files.size(); ++lIndex)
            QVERIFY(
                gfWriteFile(lDirectory.filePath(QString::number(lIndex + 6)), files.at(lIndex)));
        qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(lDirectory.path()));

        QString lPath = QStringLiteral("untouched");
        QVERIFY(gfHasUsbStorageListing());
        QCOMPARE(gpDetectDevice(QStringLiteral("Lumora"), QStringLiteral("0600"),
                                QStringLiteral("Beamora"), QStringLiteral("0070"),
                                QStringLiteral("Beamora_for_Linux"), lPath),
                 found);
        QCOMPARE(lPath, QStringLiteral("untouched"));

        qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(lDirectory.filePath("none")));
        QVERIFY(!gfHasUsbStorageListing());
        QVERIFY(!gpDetectDevice(QStringLiteral("Lumora"), QString(), QStringLiteral("Beamora"),
                                QString(), QString(), lPath));
    }

    void unreadableListingFileIsLoggedAndSkipped_data()
    {
        QTest::addColumn<QByteArray>("readable");
        QTest::addColumn<QByteArray>("answer");
        // The unreadable file holds the product line: without it there is no match.
        QTest::newRow("values of the readable file only")
            << QByteArray("       Vendor: Lumora\n") << QByteArray("not found");
        QTest::newRow("the walk goes on")
            << gfUsbListing("Lumora", "Beamora") << QByteArray("found");
    }

    void unreadableListingFileIsLoggedAndSkipped()
    {
        QFETCH(QByteArray, readable);
        QFETCH(QByteArray, answer);
        // Root opens any file; in a user namespace of its own the child has no
        // such right over the test's files, and a file of mode 000 fails to open.
        const QString lUnshare = QStandardPaths::findExecutable(QStringLiteral("unshare"));
        if (lUnshare.isEmpty())
            QSKIP("unshare (util-linux) is not installed");
        QTemporaryDir lDirectory;
        QVERIFY(lDirectory.isValid());
        QVERIFY(QFile::setPermissions(lDirectory.path(),
                                      QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                          QFileDevice::ExeOwner | QFileDevice::ReadOther |
                                          QFileDevice::ExeOther));
        QVERIFY(gfWriteFile(lDirectory.filePath(QStringLiteral("6")), readable));
        const QString lLocked = lDirectory.filePath(QStringLiteral("7"));
        QVERIFY(gfWriteFile(lLocked, "      Product: Beamora\n"));
        QVERIFY(QFile::setPermissions(lLocked, QFileDevice::Permissions()));

        QProcess lChild;
        lChild.start(lUnshare, {QStringLiteral("--user"), QCoreApplication::applicationFilePath(),
                                QLatin1String(sProbeArgument), lDirectory.path()});
        QVERIFY(lChild.waitForFinished(30000));
        const QByteArray lOutput = lChild.readAllStandardOutput();
        // unshare itself refuses where user namespaces are disabled.
        if (lChild.exitStatus() == QProcess::NormalExit && lChild.exitCode() != 0 &&
            lOutput.isEmpty()) {
            const QByteArray lReason = "no user namespace: " + lChild.readAllStandardError();
            QSKIP(lReason.constData());
        }
        QCOMPARE(lChild.exitStatus(), QProcess::NormalExit);
        QCOMPARE(lChild.exitCode(), 0);
        const QList<QByteArray> lLines = lOutput.split('\n');
        QCOMPARE(lLines.at(0), answer);
        // Logged once for the one file that failed, at level error, whenever the
        // walk reached it before a match.
        const QByteArray lError = "4 Error opening USB information ...";
        QVERIFY(lLines.count(lError) <= 1);
        if (answer == "not found")
            QCOMPARE(lLines.count(lError), 1);
    }

    void sysfsDevices()
    {
        QTemporaryDir lRoot;
        QVERIFY(lRoot.isValid());
        QDir lDir(lRoot.path());
        QVERIFY(lDir.mkdir(QStringLiteral("bus")));
        // Name, manufacturer, product; the interface 1-1:1.0 has neither.
        const QList<QByteArrayList> lDevices{
            {"usb1", "Linux 6.1.0-18-amd64 xhci-hcd\n", "xHCI Host Controller\n"},
            {"1-1", "Lumora\n", "Beamora\n"},
            {"1-1:1.0"},
            {"1-2", "  Generic \n", "Flash Disk\n"}};
        for (const QByteArrayList& lDevice : lDevices) {
            const QString lPath = lRoot.filePath(QString::fromLatin1("devices/" + lDevice.at(0)));
            QVERIFY(lDir.mkpath(lPath));
            QVERIFY(
                QFile::link(lPath, lRoot.filePath(QString::fromLatin1("bus/" + lDevice.at(0)))));
            if (lDevice.size() == 3) {
                QVERIFY(gfWriteFile(lPath + "/manufacturer", lDevice.at(1)));
                QVERIFY(gfWriteFile(lPath + "/product", lDevice.at(2)));
            }
        }
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lRoot.filePath("bus")));

        QVERIFY(gfDetectSysfsUsbDevice(QStringLiteral("Lumora"), QStringLiteral("Beamora")));
        QVERIFY(gfDetectSysfsUsbDevice(QStringLiteral("Generic"), QStringLiteral("Flash Disk")));
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("lumora"), QStringLiteral("Beamora")));
        // Manufacturer of one device, product of another.
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("Linux 6.1.0-18-amd64 xhci-hcd"),
                                        QStringLiteral("Beamora")));
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lRoot.filePath("none")));
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("Lumora"), QStringLiteral("Beamora")));
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    if (argc == 3 && qstrcmp(argv[1], sProbeArgument) == 0)
        return gfProbeListing(QString::fromLocal8Bit(argv[2]));
    if (argc == 2 && qstrcmp(argv[1], sSessionArgument) == 0)
        return std::puts(gfIsSessionBlocked() ? "blocked" : "free") < 0;
    tst_UBXSystemProbes lTest;
    return QTest::qExec(&lTest, argc, argv);
}
#include "tst_UBXSystemProbes.moc"
