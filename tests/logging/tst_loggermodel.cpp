#include "ICLoggerModel.h"
#include "ICLoggerObserver.h"

#include <QMutex>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <atomic>
#include <memory>
#include <thread>

namespace {
// What a Recorder saw: its items, and where it was initialised, handed each
// item and finalised. Outlives the recorder, which the model destroys.
struct Record
{
    QMutex mvMutex;
    QStringList mvTexts;
    QStringList mvCalls;
    bool mvDestroyed = false;
    qsizetype mfCount()
    {
        QMutexLocker lLocker(&mvMutex);
        return mvTexts.size();
    }
};

class Recorder : public ICLoggerObserver
{
public:
    Recorder(qint32 aLevel, std::shared_ptr<Record> apRecord)
        : ICLoggerObserver(aLevel, "Observer Thread"), mvRecord(std::move(apRecord))
    {}
    ~Recorder() override { mvRecord->mvDestroyed = true; }
    void mpSlotInitialize() override { mpNote("init"); }
    void mpSlotLogEvent(const ICLoggerItem& aItem) override { mpNote("item", aItem.mfGetText()); }
    void mpSlotFinalize() override { mpNote("final"); }

private:
    void mpNote(const char* aWhat, const QString& aText = QString())
    {
        QMutexLocker lLocker(&mvRecord->mvMutex);
        mvRecord->mvCalls << QLatin1String(aWhat) + ' ' + QThread::currentThread()->objectName();
        if (!aText.isNull())
            mvRecord->mvTexts << aText;
    }
    std::shared_ptr<Record> mvRecord;
};

// A model of its own for each test, so that no registration leaks into the next.
ICLoggerModel* gfFreshModel()
{
    static int sCounter = 0;
    return ICLoggerModel::instance(QStringLiteral("model %1").arg(++sCounter));
}
} // namespace

class tst_LoggerModel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase() { QThread::currentThread()->setObjectName("test main"); }
    void thresholdFollowsObservers()
    {
        ICLoggerModel* lModel = gfFreshModel();
        QSignalSpy lSpy(lModel, &ICLoggerModel::mpSignalLogItem);
        for (qint32 lLevel = Status; lLevel <= Fatal; ++lLevel)
            lModel->mpLog(lLevel, QString());
        QCOMPARE(lSpy.count(), 2); // without observers only Status and Fatal pass

        auto lWarnRecord = std::make_shared<Record>();
        auto lDebugRecord = std::make_shared<Record>();
        auto* lWarn = new Recorder(Warn, lWarnRecord);
        auto* lDebug = new Recorder(Debug, lDebugRecord);
        lModel->mpAddObserver(lWarn, false);
        lModel->mpAddObserver(lDebug, false);
        lModel->mpAddObserver(lDebug, false);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));
        lModel->mpLog(Debug, QStringLiteral("debug")); // once each, whatever their level
        QCOMPARE(lWarnRecord->mfCount() + lDebugRecord->mfCount(), 2);

        // Removing an observer that is not registered changes nothing.
        Recorder lStray(Debug, std::make_shared<Record>());
        lModel->mpRemoveObserver(&lStray);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));

        // The observer that set the threshold rises: the next lowest takes over;
        // one that did not set it rises: nothing moves.
        lDebug->mpSetLevel(Error);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
        lDebug->mpSetLevel(Fatal);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
        lDebug->mpSetLevel(Status);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Status));
        QVERIFY(!lModel->mpUpdateLevel(Debug, Warn));
        lModel->mpRemoveObserver(lDebug);
        QVERIFY(lDebugRecord->mvDestroyed);
        QCOMPARE(lDebugRecord->mvCalls.last(), QStringLiteral("final test main"));
        QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
        lModel->mpLog(Info, QStringLiteral("dropped"));
        lModel->mpLog(Status, QStringLiteral("status passes"));
        QCOMPARE(lWarnRecord->mvTexts.last(), QStringLiteral("status passes"));
        QCOMPARE(lWarnRecord->mfCount(), 2);
        lModel->mpRemoveObserver(lWarn);
        QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
        QVERIFY(!lModel->mfHasObservers());
    }
    void predicates_data()
    {
        QTest::addColumn<qint32>("threshold");
        QTest::addColumn<QList<bool>>("enabled"); // debug, diag, info, warn, error
        // Debug is enabled at exactly 0: a Status threshold reports it disabled.
        QTest::newRow("-1") << -1 << QList<bool>{false, true, true, true, true};
        QTest::newRow("0") << 0 << QList<bool>{true, true, true, true, true};
        QTest::newRow("2") << 2 << QList<bool>{false, false, true, true, true};
        QTest::newRow("4") << 4 << QList<bool>{false, false, false, false, true};
        QTest::newRow("5") << 5 << QList<bool>{false, false, false, false, false};
    }
    void predicates()
    {
        QFETCH(qint32, threshold);
        QFETCH(QList<bool>, enabled);
        ICLoggerModel* lModel = gfFreshModel();
        lModel->mpAddObserver(new Recorder(threshold, std::make_shared<Record>()), false);
        QCOMPARE(QList<bool>({lModel->mfIsDebugEnabled(), lModel->mfIsDiagEnabled(),
                              lModel->mfIsInfoEnabled(), lModel->mfIsWarnEnabled(),
                              lModel->mfIsErrorEnabled()}),
                 enabled);
        lModel->mpRemoveObserver();
    }
    void itemsAreStampedAndDelivered()
    {
        ICLoggerModel* lModel = gfFreshModel();
        QSignalSpy lSpy(lModel, &ICLoggerModel::mpSignalLogItem);
        auto lRecord = std::make_shared<Record>();
        lModel->mpAddObserver(new Recorder(Debug, lRecord), false);
        const QDateTime lBefore = QDateTime::currentDateTime();
        lModel->mpLog(Info, QStringLiteral("main"), 0xabc);
        // An observer without a thread is called at once from its own thread...
        QCOMPARE(lRecord->mfCount(), 1);
        quint64 lWorkerId = 0;
        std::thread([lModel, &lWorkerId] {
            lWorkerId = gfCurrentThreadId();
            lModel->mpLog(Warn, QStringLiteral("worker"));
        }).join();
        // ...and through its event loop from others.
        QCOMPARE(lRecord->mfCount(), 1);
        QTRY_COMPARE(lRecord->mfCount(), 2);
        QCOMPARE(lRecord->mvCalls,
                 QStringList({"init test main", "item test main", "item test main"}));

        const ICLoggerItem lMain = lSpy[0][0].value<ICLoggerItem>();
        QCOMPARE(lMain.mfGetClassId(), quint64(0xabc));
        QCOMPARE(lMain.mfGetThreadId(), quint64(QCoreApplication::applicationPid()));
        QCOMPARE(lMain.mfGetThreadName(), QStringLiteral("test main"));
        QVERIFY(lMain.mfGetDateTime() >= lBefore);
        const ICLoggerItem lWorker = lSpy[1][0].value<ICLoggerItem>();
        QCOMPARE(lWorker.mfGetThreadId(), lWorkerId);
        QVERIFY(lWorker.mfGetThreadName().isEmpty());
        lModel->mpRemoveObserver();
    }
    void removalWritesEveryQueuedItem()
    {
        const int lCount = 20000;
        ICLoggerModel* lModel = gfFreshModel();
        auto lThreaded = std::make_shared<Record>();
        auto* lObserver = new Recorder(Debug, lThreaded);
        lModel->mpAddObserver(lObserver, true);
        // A second logger races the removal; its late items are simply not delivered,
        // but whatever it logged before the removal is.
        std::atomic<int> lWorkerLogged{0};
        std::thread lWorker([lModel, &lWorkerLogged] {
            for (int i = 0; i < lCount; ++i, ++lWorkerLogged)
                lModel->mpLog(Info, QStringLiteral("w%1").arg(i));
        });
        for (int i = 0; i < lCount; ++i)
            lModel->mpLog(Warn, QStringLiteral("m%1").arg(i));
        const int lWorkerBefore = lWorkerLogged;
        lModel->mpRemoveObserver(lObserver);
        lWorker.join();

        int lMain = 0;
        int lOther = 0;
        for (const QString& lText : std::as_const(lThreaded->mvTexts)) {
            const bool lIsMain = lText.startsWith(QLatin1Char('m'));
            QCOMPARE(lText, (lIsMain ? QStringLiteral("m%1") : QStringLiteral("w%1"))
                                .arg(lIsMain ? lMain++ : lOther++));
        }
        QCOMPARE(lMain, lCount);
        QVERIFY(lOther >= lWorkerBefore);
        // Everything ran in the observer's thread, named after the observer.
        QCOMPARE(lThreaded->mvCalls.first(), QStringLiteral("init Observer Thread"));
        QCOMPARE(lThreaded->mvCalls.last(), QStringLiteral("final Observer Thread"));
        QCOMPARE(lThreaded->mvCalls.count(QStringLiteral("item Observer Thread")), lMain + lOther);
    }
    void exitWritesEveryQueuedItem()
    {
        const int lCount = 20000;
        QTemporaryDir lDirectory;
        const QString lPath = lDirectory.filePath(QStringLiteral("exit.log"));
        QProcess lHelper;
        lHelper.start(QStringLiteral(LOGGING_TEST_HELPER),
                      {QStringLiteral("exit-file"), lPath, QString::number(lCount)});
        QVERIFY2(lHelper.waitForFinished(120000), qPrintable(lHelper.errorString()));
        QCOMPARE(lHelper.exitCode(), 0);
        QFile lFile(lPath);
        QVERIFY(lFile.open(QIODevice::ReadOnly));
        const QList<QByteArray> lLines = lFile.readAll().split('\n');
        // Header, the items, and the empty piece after the last line feed.
        QCOMPARE(lLines.size(), lCount + 2);
        for (int i = 0; i < lCount; ++i)
            QVERIFY2(lLines[i + 1].endsWith(QByteArray("\t: item " + QByteArray::number(i))),
                     lLines[i + 1]);
    }
};

QTEST_GUILESS_MAIN(tst_LoggerModel)
#include "tst_loggermodel.moc"
