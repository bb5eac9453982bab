#include "FakeDesktopTools.h"
#include "UBXSystemProbes.h"

#include <QTemporaryDir>
#include <QtTest>

#include <optional>

namespace {
const QString sGetActive = QStringLiteral("gdbus call -e -d org.gnome.ScreenSaver -o "
                                          "/org/gnome/ScreenSaver -m "
                                          "org.gnome.ScreenSaver.GetActive");
const QString sIsLocked = QStringLiteral("gdbus call -e -d com.canonical.Unity -o "
                                         "/com/canonical/Unity/Session -m "
                                         "com.canonical.Unity.Session.IsLocked");
const QString sQuery = QStringLiteral("gnome-screensaver-command -q");
const QString sPresence = QStringLiteral(
    "gdbus call -e -d org.gnome.SessionManager -o /org/gnome/SessionManager/Presence -m "
    "org.freedesktop.DBus.Properties.Get /org/gnome/SessionManager/Presence status");

// Sets (or, for a null value, unsets) a variable and restores it afterwards.
class ScopedVariable
{
public:
    ScopedVariable(const char* aName, const QByteArray& aValue)
        : mvName(aName), mvWasSet(qEnvironmentVariableIsSet(aName)), mvOld(qgetenv(aName))
    {
        mpSet(aValue.isNull() ? std::nullopt : std::optional<QByteArray>(aValue));
    }
    ~ScopedVariable() { mpSet(mvWasSet ? std::optional<QByteArray>(mvOld) : std::nullopt); }

private:
    void mpSet(const std::optional<QByteArray>& aValue)
    {
        if (aValue)
            qputenv(mvName, *aValue);
        else
            qunsetenv(mvName);
    }
    const char* mvName;
    bool mvWasSet;
    QByteArray mvOld;
};

// Still executing: neither gone nor a zombie waiting for a parent to reap it.
bool gfIsRunning(qint64 aPid)
{
    QFile lStat(QStringLiteral("/proc/%1/stat").arg(aPid));
    if (!lStat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray lText = lStat.readAll();
    const qsizetype lState = lText.lastIndexOf(')') + 2;
    return lState < lText.size() && lText.at(lState) != 'Z' && lText.at(lState) != 'X';
}

// A listing file as the kernel writes it for a USB storage host.
QByteArray gfListing(const QByteArray& aVendor, const QByteArray& aProduct)
{
    return "   Host scsi6: usb-storage\n       Vendor: " + aVendor +
           "\n      Product: " + aProduct +
           "\nSerial Number: 0123456789AB\n     Protocol: Transparent SCSI\n"
           "    Transport: Bulk\n       Quirks:\n";
}

bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size();
}

bool gfDetectButton()
{
    QString lPath = QStringLiteral("untouched");
    const bool lFound =
        gpDetectDevice(QStringLiteral("Lumora"), QStringLiteral("0600"), QStringLiteral("Beamora"),
                       QStringLiteral("0070"), QStringLiteral("Beamora_for_Linux"), lPath);
    return lFound && lPath == QLatin1String("untouched");
}
} // namespace

class tst_UBXSystemProbes : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void userNameComesFromUser()
    {
        {
            ScopedVariable lUser("USER", "presenter");
            QCOMPARE(gfGetUserName(), QStringLiteral("presenter"));
        }
        ScopedVariable lUser("USER", QByteArray());
        QVERIFY(gfGetUserName().isEmpty());
    }

    void sessionProbe_data()
    {
        QTest::addColumn<QByteArray>("desktop");
        QTest::addColumn<QByteArray>("gdmSession");
        QTest::addColumn<QStringList>("replies"); // key, reply, key, reply, ...
        QTest::addColumn<QString>("missingTool");
        QTest::addColumn<bool>("blocked");
        QTest::addColumn<QStringList>("calls");

        const QString lSaver = QStringLiteral("org.gnome.ScreenSaver");
        const QString lUnity = QStringLiteral("com.canonical.Unity");
        const QString lGnomeSaver = QStringLiteral("gnome-screensaver-command");
        const QString lPresence = QStringLiteral("org.gnome.SessionManager");
        const QString lFalse = QStringLiteral("(false,)\n");
        const QString lTrue = QStringLiteral("(true,)\n");
        const QString lInactive = QStringLiteral("The screensaver is inactive\n");

        QTest::newRow("unity, free")
            << QByteArray("unity") << QByteArray() << QStringList{lSaver, lFalse, lUnity, lFalse}
            << QString() << false << QStringList{sGetActive, sIsLocked};
        QTest::newRow("Unity, locked") << QByteArray("Unity") << QByteArray("gnome")
                                       << QStringList{lSaver, lFalse, lUnity, lTrue} << QString()
                                       << true << QStringList{sGetActive, sIsLocked};
        QTest::newRow("UNITY, screen saver on")
            << QByteArray("UNITY") << QByteArray() << QStringList{lSaver, lTrue, lUnity, lFalse}
            << QString() << true << QStringList{sGetActive};
        QTest::newRow("unity, no gdbus")
            << QByteArray("unity") << QByteArray() << QStringList{lSaver, lFalse, lUnity, lFalse}
            << QStringLiteral("gdbus") << true << QStringList();
        QTest::newRow("ubuntu:GNOME falls through, available")
            << QByteArray("ubuntu:GNOME") << QByteArray("gnome")
            << QStringList{lGnomeSaver, lInactive, lPresence, QStringLiteral("(<uint32 0>,)\n")}
            << QString() << false << QStringList{sQuery, sPresence};
        QTest::newRow("GNOME, idle")
            << QByteArray() << QByteArray("GNOME")
            << QStringList{lGnomeSaver, lInactive, lPresence, QStringLiteral("(<uint32 3>,)\n")}
            << QString() << true << QStringList{sQuery, sPresence};
        QTest::newRow("gnome, screen saver on")
            << QByteArray() << QByteArray("gnome")
            << QStringList{lGnomeSaver, QStringLiteral("The screensaver is active\n"), lPresence,
                           QStringLiteral("(<uint32 0>,)\n")}
            << QString() << true << QStringList{sQuery};
        QTest::newRow("gnome, no screen-saver tool")
            << QByteArray() << QByteArray("gnome")
            << QStringList{lPresence, QStringLiteral("(<uint32 0>,)\n")} << lGnomeSaver << true
            << QStringList();
        QTest::newRow("gnome-classic runs nothing")
            << QByteArray() << QByteArray("gnome-classic")
            << QStringList{lGnomeSaver, QStringLiteral("The screensaver is active\n")} << QString()
            << false << QStringList();
        QTest::newRow("ubuntu:GNOME without GDMSESSION runs nothing")
            << QByteArray("ubuntu:GNOME") << QByteArray() << QStringList{lSaver, lTrue} << QString()
            << false << QStringList();
    }

    void sessionProbe()
    {
        QFETCH(QByteArray, desktop);
        QFETCH(QByteArray, gdmSession);
        QFETCH(QStringList, replies);
        QFETCH(QString, missingTool);
        QFETCH(bool, blocked);
        QFETCH(QStringList, calls);

        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        for (int lIndex = 0; lIndex + 1 < replies.size(); lIndex += 2)
            QVERIFY(lTools.mfSetReply(replies.at(lIndex), replies.at(lIndex + 1).toLatin1()));
        if (!missingTool.isEmpty())
            QVERIFY(lTools.mfRemoveTool(missingTool));
        ScopedVariable lDesktop("XDG_CURRENT_DESKTOP", desktop);
        ScopedVariable lSession("GDMSESSION", gdmSession);

        QCOMPARE(gfIsSessionBlocked(), blocked);
        QCOMPARE(lTools.mfCallLines(), calls);
    }

    // The tool is started through a shell and starts a child of its own: all of
    // them must be gone when the probe gives up.
    void hangingToolIsCutOffWithEverythingItStarted()
    {
        FakeDesktopTools lTools;
        QVERIFY(lTools.mfIsValid());
        QVERIFY(lTools.mfSetHanging(QStringLiteral("org.gnome.ScreenSaver")));
        QVERIFY(lTools.mfSetReply(QStringLiteral("com.canonical.Unity"), "(false,)\n"));
        ScopedVariable lDesktop("XDG_CURRENT_DESKTOP", "Unity");

        QVERIFY(gfIsSessionBlocked());
        QCOMPARE(lTools.mfCallLines(), QStringList{sGetActive});
        const QList<qint64> lPids = lTools.mfHangingPids();
        QCOMPARE(lPids.size(), 2);
        for (qint64 lPid : lPids)
            QTRY_VERIFY_WITH_TIMEOUT(!gfIsRunning(lPid), 10000);
    }

    void usbListing_data()
    {
        QTest::addColumn<QList<QByteArray>>("files");
        QTest::addColumn<bool>("found");

        QTest::newRow("the button") << QList<QByteArray>{gfListing("Lumora", "Beamora")} << true;
        QTest::newRow("vendor in lower case")
            << QList<QByteArray>{gfListing("lumora", "Beamora")} << false;
        QTest::newRow("product in upper case")
            << QList<QByteArray>{gfListing("Lumora", "BEAMORA")} << false;
        QTest::newRow("another stick")
            << QList<QByteArray>{gfListing("Generic", "Flash Disk")} << false;
        QTest::newRow("the button among others")
            << QList<QByteArray>{gfListing("Generic", "Flash Disk"), gfListing("Lumora", "Beamora"),
                                 gfListing("Kingston", "DataTraveler")}
            << true;
        // Whichever file comes second lacks one line and keeps the first file's value.
        QTest::newRow("values carry over between files")
            << QList<QByteArray>{QByteArray("       Vendor: Lumora\n"),
                                 QByteArray("      Product: Beamora\n")}
            << true;
        QTest::newRow("text ends at a zero byte")
            << QList<QByteArray>{QByteArray("       Vendor: Lumora\n") + '\0' +
                                 "      Product: Beamora\n"}
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
        ScopedVariable lListing("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(lDirectory.path()));

        QVERIFY(gfHasUsbStorageListing());
        QCOMPARE(gfDetectButton(), found);
    }

    void missingListingDirectory()
    {
        QTemporaryDir lDirectory;
        QVERIFY(lDirectory.isValid());
        ScopedVariable lListing("BEAMORA_USB_STORAGE_DIR",
                                QFile::encodeName(lDirectory.filePath(QStringLiteral("none"))));
        QVERIFY(!gfHasUsbStorageListing());
        QVERIFY(!gfDetectButton());
    }

    void sysfsDevices()
    {
        QTemporaryDir lRoot;
        QVERIFY(lRoot.isValid());
        QDir lDir(lRoot.path());
        QVERIFY(lDir.mkpath(QStringLiteral("bus")));
        const QList<QStringList> lDevices{
            {QStringLiteral("usb1"), QStringLiteral("Linux 6.1.0-18-amd64 xhci-hcd\n"),
             QStringLiteral("xHCI Host Controller\n")},
            {QStringLiteral("1-1"), QStringLiteral("Lumora\n"), QStringLiteral("Beamora\n")},
            {QStringLiteral("1-1:1.0")},
            {QStringLiteral("1-2"), QStringLiteral("  Generic \n"),
             QStringLiteral("Flash Disk\n")}};
        for (const QStringList& lDevice : lDevices) {
            const QString lPath = lRoot.filePath(QStringLiteral("devices/") + lDevice.at(0));
            QVERIFY(lDir.mkpath(lPath));
            QVERIFY(QFile::link(lPath, lRoot.filePath(QStringLiteral("bus/") + lDevice.at(0))));
            if (lDevice.size() == 3) {
                QVERIFY(
                    gfWriteFile(lPath + QStringLiteral("/manufacturer"), lDevice.at(1).toLatin1()));
                QVERIFY(gfWriteFile(lPath + QStringLiteral("/product"), lDevice.at(2).toLatin1()));
            }
        }
        ScopedVariable lSysfs("BEAMORA_SYSFS_USB_DIR",
                              QFile::encodeName(lRoot.filePath(QStringLiteral("bus"))));

        QVERIFY(gfDetectSysfsUsbDevice(QStringLiteral("Lumora"), QStringLiteral("Beamora")));
        QVERIFY(gfDetectSysfsUsbDevice(QStringLiteral("Generic"), QStringLiteral("Flash Disk")));
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("lumora"), QStringLiteral("Beamora")));
        // Vendor of one device, product of another.
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("Linux 6.1.0-18-amd64 xhci-hcd"),
                                        QStringLiteral("Beamora")));

        ScopedVariable lMissing("BEAMORA_SYSFS_USB_DIR",
                                QFile::encodeName(lRoot.filePath(QStringLiteral("none"))));
        QVERIFY(!gfDetectSysfsUsbDevice(QStringLiteral("Lumora"), QStringLiteral("Beamora")));
    }
};

QTEST_GUILESS_MAIN(tst_UBXSystemProbes)
#include "tst_UBXSystemProbes.moc"
