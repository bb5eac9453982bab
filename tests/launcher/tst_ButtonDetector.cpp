#include "ButtonDetector.h"
#include "FakeDesktopTools.h"
#include "LogCapture.h"

#include <QDateTime>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>

namespace {
constexpr int sWaitMs = 20000;
const QString sScreenSaver = QStringLiteral("org.gnome.ScreenSaver");
const QString sInsertedLine =
    QStringLiteral("Button detector has detected that button is inserted.");
const QString sRemovedLine = QStringLiteral("Button detector has detected that button is removed.");
const QString sAwayLine = QStringLiteral("The executable is not running on the input desktop.");
const QString sBackLine = QStringLiteral("The executable is running on the input desktop.");

bool gfWriteFile(const QString& aPath, const QByteArray& aContent)
{
    QFile lFile(aPath);
    return lFile.open(QIODevice::WriteOnly) && lFile.write(aContent) == aContent.size();
}

QByteArray gfButtonListing()
{
    return "   Host scsi6: usb-storage\n       Vendor: Lumora\n      Product: Beamora\n"
           "Serial Number: 0123456789AB\n     Protocol: Transparent SCSI\n"
           "    Transport: Bulk\n       Quirks:\n";
}
} // namespace

// Runs the detector against a fake Unity session (one screen-saver call per
// cycle, so the fake's call log counts and times the cycles) and a listing
// directory of the test's own.
class tst_ButtonDetector : public QObject
{
    Q_OBJECT
private:
    std::unique_ptr<FakeDesktopTools> mvTools;
    std::unique_ptr<QTemporaryDir> mvListing;
    std::unique_ptr<LogCapture> mvLog;
    std::unique_ptr<ButtonDetector> mvDetector;
    QStringList mvEvents;

    QString mfButtonFile() const { return mvListing->filePath(QStringLiteral("6")); }
    int mfCycles() const { return int(mvTools->mfCallTimes(sScreenSaver).size()); }

    // Waits until aCount more cycles have begun, then takes delivery of every
    // signal emitted before the last of them.
    bool mfWaitForCycles(int aCount)
    {
        const int lTarget = mfCycles() + aCount;
        const bool lReached = QTest::qWaitFor([&] { return mfCycles() >= lTarget; }, sWaitMs);
        QCoreApplication::processEvents();
        return lReached;
    }

    qint64 mfLoggedAt(const QString& aText) const
    {
        for (const ICLoggerItem& lItem : mvLog->mfItems()) {
            if (lItem.mfGetText() == aText)
                return lItem.mfGetDateTime().toMSecsSinceEpoch();
        }
        return -1;
    }

private Q_SLOTS:
    void init()
    {
        mvTools = std::make_unique<FakeDesktopTools>();
        QVERIFY(mvTools->mfIsValid());
        QVERIFY(mvTools->mfSetReply(sScreenSaver, "(false,)\n"));
        QVERIFY(mvTools->mfSetReply(QStringLiteral("com.canonical.Unity"), "(false,)\n"));
        mvListing = std::make_unique<QTemporaryDir>();
        QVERIFY(mvListing->isValid());
        qputenv("XDG_CURRENT_DESKTOP", "Unity");
        qunsetenv("GDMSESSION");
        qputenv("BEAMORA_USB_STORAGE_DIR", QFile::encodeName(mvListing->path()));
        qunsetenv("BEAMORA_SYSFS_USB_DIR");

        mvEvents.clear();
        mvLog = std::make_unique<LogCapture>();
        mvDetector = std::make_unique<ButtonDetector>();
        connect(mvDetector.get(), &ButtonDetector::sgButtonInserted, this,
                [this](const QString& aPath) { mvEvents << QStringLiteral("inserted:") + aPath; });
        connect(mvDetector.get(), &ButtonDetector::sgButtonRemoved, this, [this](bool aKill) {
            mvEvents << (aKill ? QStringLiteral("removed:true") : QStringLiteral("removed:false"));
        });
        connect(mvDetector.get(), &ButtonDetector::sgNoLongerOnOriginalDesktop, this,
                [this] { mvEvents << QStringLiteral("away"); });
        connect(mvDetector.get(), &ButtonDetector::sgBackToOriginalDeskop, this,
                [this] { mvEvents << QStringLiteral("back"); });
    }

    void cleanup()
    {
        mvDetector.reset();
        mvLog.reset();
        mvTools.reset();
        mvListing.reset();
    }

    void reportsEdgesOnly()
    {
        mvDetector->mpSetPollInterval(20);
        mvDetector->mpStartDetection();
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, QStringList());

        QVERIFY(gfWriteFile(mfButtonFile(), gfButtonListing()));
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{QStringLiteral("inserted:")}, sWaitMs);
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, QStringList{QStringLiteral("inserted:")});

        QVERIFY(QFile::remove(mfButtonFile()));
        const QStringList lBoth{QStringLiteral("inserted:"), QStringLiteral("removed:false")};
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, lBoth, sWaitMs);
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, lBoth);

        QCOMPARE(mvLog->mfCount(sInsertedLine, Debug), 1);
        QCOMPARE(mvLog->mfCount(sRemovedLine, Debug), 1);
        QCOMPARE(mvLog->mfCount(sAwayLine, Debug) + mvLog->mfCount(sBackLine, Debug), 0);
    }

    void buttonPresentAtStartIsReportedByTheFirstCycle()
    {
        QVERIFY(gfWriteFile(mfButtonFile(), gfButtonListing()));
        mvDetector->mpStartDetection();
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{QStringLiteral("inserted:")}, sWaitMs);

        const qint64 lReported = mfLoggedAt(sInsertedLine);
        QVERIFY(lReported > 0);
        int lCyclesBefore = 0;
        for (qint64 lCycle : mvTools->mfCallTimes(sScreenSaver))
            lCyclesBefore += lCycle <= lReported;
        QCOMPARE(lCyclesBefore, 1);
    }

    // While the screen saver runs the button is not looked at, even though it
    // is plugged in, and the cycles are 2 s apart.
    void blockedSessionSkipsTheButton()
    {
        QVERIFY(mvTools->mfSetReply(sScreenSaver, "(true,)\n"));
        QVERIFY(gfWriteFile(mfButtonFile(), gfButtonListing()));
        mvDetector->mpSetPollInterval(20);
        mvDetector->mpStartDetection();
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{QStringLiteral("away")}, sWaitMs);
        QVERIFY(mfWaitForCycles(2));
        QCOMPARE(mvEvents, QStringList{QStringLiteral("away")});
        const QList<qint64> lCycles = mvTools->mfCallTimes(sScreenSaver);
        for (qsizetype lIndex = 1; lIndex < lCycles.size(); ++lIndex)
            QVERIFY2(lCycles.at(lIndex) - lCycles.at(lIndex - 1) >= 1990,
                     qPrintable(QString::number(lCycles.at(lIndex) - lCycles.at(lIndex - 1))));
        QCOMPARE(mvLog->mfCount(sAwayLine, Debug), 1);

        QVERIFY(mvTools->mfSetReply(sScreenSaver, "(false,)\n"));
        const QStringList lExpected{QStringLiteral("away"), QStringLiteral("back"),
                                    QStringLiteral("inserted:")};
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, lExpected, sWaitMs);
        QCOMPARE(mvLog->mfCount(sBackLine, Debug), 1);
        QCOMPARE(mvLog->mfCount(sAwayLine, Debug), 1);
    }

    // The cycle that begins after the change already sleeps the new interval.
    void pollIntervalChangesWhileRunning()
    {
        mvDetector->mpStartDetection();
        QVERIFY(mfWaitForCycles(2));
        mvDetector->mpSetPollInterval(1500);
        QCOMPARE(mvDetector->mfGetPollInterval(), 1500);
        const int lBefore = mfCycles();
        QVERIFY(mfWaitForCycles(2));
        const QList<qint64> lCycles = mvTools->mfCallTimes(sScreenSaver);
        QVERIFY(lCycles.size() >= lBefore + 2);
        const qint64 lGap = lCycles.at(lBefore + 1) - lCycles.at(lBefore);
        QVERIFY2(lGap >= 1490, qPrintable(QString::number(lGap)));
    }

    void destructionWaitsForTheSleep()
    {
        QVERIFY(gfWriteFile(mfButtonFile(), gfButtonListing()));
        mvDetector->mpSetPollInterval(3000);
        mvDetector->mpStartDetection();
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{QStringLiteral("inserted:")}, sWaitMs);
        std::atomic<bool> lFinished{false};
        connect(
            mvDetector.get(), &QThread::finished, this, [&lFinished] { lFinished = true; },
            Qt::DirectConnection);
        const qint64 lSleepBegan = mfLoggedAt(sInsertedLine);

        mvDetector.reset();
        QVERIFY(lFinished);
        QVERIFY(QDateTime::currentMSecsSinceEpoch() - lSleepBegan >= 2990);
        QCOMPARE(mvLog->mfCount(QStringLiteral("[UBXThread::~UBXThread] Thread <<ButtonDetector>> "
                                               "is deleted while it is still running!"),
                                Error),
                 0);
    }

    void kernelWithoutListingUsesSysfs()
    {
        QTemporaryDir lSysfs;
        QVERIFY(lSysfs.isValid());
        qputenv("BEAMORA_USB_STORAGE_DIR",
                QFile::encodeName(mvListing->filePath(QStringLiteral("absent"))));
        qputenv("BEAMORA_SYSFS_USB_DIR", QFile::encodeName(lSysfs.path()));
        QVERIFY(gfWriteFile(mfButtonFile(), gfButtonListing())); // not consulted
        mvDetector->mpSetPollInterval(20);
        mvDetector->mpStartDetection();
        QVERIFY(mfWaitForCycles(3));
        QCOMPARE(mvEvents, QStringList());

        const QString lDevice = lSysfs.filePath(QStringLiteral("1-1"));
        QVERIFY(QDir().mkpath(lDevice));
        QVERIFY(gfWriteFile(lDevice + QStringLiteral("/product"), "Beamora\n"));
        QVERIFY(gfWriteFile(lDevice + QStringLiteral("/manufacturer"), "Lumora\n"));
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, QStringList{QStringLiteral("inserted:")}, sWaitMs);

        QVERIFY(QDir(lDevice).removeRecursively());
        const QStringList lBoth{QStringLiteral("inserted:"), QStringLiteral("removed:false")};
        QTRY_COMPARE_WITH_TIMEOUT(mvEvents, lBoth, sWaitMs);
        QCOMPARE(mvLog->mfCount(sInsertedLine, Debug), 1);
        QCOMPARE(mvLog->mfCount(sRemovedLine, Debug), 1);
    }
};

QTEST_GUILESS_MAIN(tst_ButtonDetector)
#include "tst_ButtonDetector.moc"
