#include "ButtonDetector.h"
#include "FakeDesktopTools.h"
#include "LogCapture.h"
#include "TestFiles.h"

#include <QDateTime>
#include <QtTest>

#include <optional>

namespace {
constexpr int sWaitMs = 20000;
const QString sScreenSaver = QStringLiteral("org.gnome.ScreenSaver");
const QString sInserted = QStringLiteral("Button detector has detected that button is inserted.");
} // namespace

// The detector against a fake Unity session, whose call log counts and times
// the cycles (one screen-saver call each), and a listing directory of its own.
class tst_ButtonDetector : public QObject
{
    Q_OBJECT
private:
    // Each emplaced anew by init(), the old one gone first.
    std::optional<FakeDesktopTools> mvTools;
    std::optional<QTemporaryDir> mvListing;
    std::optional<LogCapture> mvLog;
    std::optional<ButtonDetector> mvDetector;
    QStringList mvEvents;

    QString mfButtonFile() const { return mvListing->filePath(QStringLiteral("6")); }
    QList<qint64> mfCycles() const { return mvTools->mfCallTimes(sScreenSaver); }

    // Waits until aCount more cycles have begun, then takes delivery of all
    // that was emitted before the last of them.
    bool mfWaitForCycles(int aCount)
    {
        const qsizetype lTarget = mfCycles().size() + aCount;
        const bool lReached =
            QTest::qWaitFor([&] { return mfCycles().size() >= lTarget; }, sWaitMs);
        QCoreApplication::processEvents();
        return lReached;
    }

private Q_SLOTS:
    void init()
    {
        mvTools.emplace();
        QVERIFY(mvTools->mfIsValid());
        QVERIFY(mvTools->mfWrite(sScreenSaver + ".reply", "(false,)\n"));
        QVERIFY(mvTools->mfWrite("com.canonical.Unity.reply", "(false,)\n"));
        mvListing.emplace();
        QVERIFY(mvListing->isValid());
        qputenv("XDG_CURRENT_DESKTOP", "Unity");
        qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(mvListing->path()));
        qunsetenv("BEAMORA_SYSFS_USB_DIR");
        mvEvents.clear();
        mvLog.emplace();
        mvDetector.emplace();
        connect(&*mvDetector, &ButtonDetector::sgButtonInserted, this,
                [this](const QString& aPath) { mvEvents << "inserted:" + aPath; });
        connect(&*mvDetector, &ButtonDetector::sgButtonRemoved, this,
                [this](bool aKill) { mvEvents << (aKill ? "removed:true" : "removed:false"); });
        connect(&*mvDetector, &ButtonDetector::sgNoLongerOnOriginalDesktop, this,
                [this] { mvEvents << "away"; });
        connect(&*mvDetector, &ButtonDetector::sgBackToOriginalDeskop, this,
                [this] { mvEvents << "back"; });
    }

    void cleanup() { mvDetector.reset(); }

    // Nothing while no button is in, then one event per change.
    void reportsEdgesOnly()
    {
        mvDetector->mpSetPollInterval(20);
        mvDetector->mpStartDetection();
        QVERIFY(mfWaitForCycles(3));
        QVERIFY(gfWriteFile(mfButtonFile(), gfUsbListing()));
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{"inserted:"}, sWaitMs);
        QVERIFY(mfWaitForCycles(3));

        QVERIFY(QFile::remove(mfButtonFile()));
        const QStringList lBoth{"inserted:", "removed:false"};
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, lBoth, sWaitMs);
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, lBoth);
        QCOMPARE(mvLog->mfTexts(Debug).filter("button is"),
                 QStringList({sInserted, "Button detector has detected that button is removed."}));

        // The cycle that begins after a change already sleeps the new interval.
        mvDetector->mpSetPollInterval(1500);
        const qsizetype lBefore = mfCycles().size();
        QVERIFY(mfWaitForCycles(2));
        QVERIFY(mfCycles().at(lBefore + 1) - mfCycles().at(lBefore) >= 1490);
    }

    // While the screen saver runs the plugged-in button is not looked at, and
    // the cycles are 2 s apart whatever the poll interval.
    void blockedSessionSkipsTheButton()
    {
        QVERIFY(mvTools->mfWrite(sScreenSaver + ".reply", "(true,)\n"));
        QVERIFY(gfWriteFile(mfButtonFile(), gfUsbListing()));
        mvDetector->mpSetPollInterval(20);
        mvDetector->mpStartDetection();
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, QStringList{"away"});
        QVERIFY(mfCycles().at(2) - mfCycles().at(0) >= 3980);

        QVERIFY(mvTools->mfWrite(sScreenSaver + ".reply", "(false,)\n"));
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, (QStringList{"away", "back", "inserted:"}), sWaitMs);
        QCOMPARE(mvLog->mfTexts(Debug).filter("input desktop"),
                 QStringList({"The executable is not running on the input desktop.",
                              "The executable is running on the input desktop."}));
    }

    // Without the kernel's listing the detector looks at the USB devices. A
    // button present at the start is reported by the first cycle, and
    // destruction waits out the sleep that follows.
    void presentAtStartOnSysfsThenDestroyedWhileSleeping()
    {
        QTemporaryDir lSysfs;
        const QString lDevice = lSysfs.filePath(QStringLiteral("1-1"));
        QVERIFY(QDir().mkpath(lDevice));
        QVERIFY(gfWriteFile(lDevice + "/product", "Beamora\n"));
        QVERIFY(gfWriteFile(lDevice + "/manufacturer", "Lumora\n"));
        qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(mvListing->filePath("absent")));
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lSysfs.path()));
        mvDetector->mpSetPollInterval(3000);
        mvDetector->mpStartDetection();
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{"inserted:"}, sWaitMs);
        QCOMPARE(mfCycles().size(), 1);
        mvDetector.reset();
        QVERIFY(QDateTime::currentMSecsSinceEpoch() - mfCycles().first() >= 2990);
        QCOMPARE(mvLog->mfItems().last().mfGetText(), sInserted); // no complaint from UBXThread
    }
};

QTEST_GUILESS_MAIN(tst_ButtonDetector)
#include "tst_ButtonDetector.moc"
