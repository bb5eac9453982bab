#include "ICLoggerModel.h"
#include "ICLoggerObserver.h"

#include <QFile>
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
// What a Recorder saw; outlives the recorder, which the model destroys.
struct Record
{
    QMutex mvMutex;
    QList<ICLoggerItem> mvItems;
    QStringList mvThreads; // where initialise, each item and finalise ran
    bool mvDestroyed = false;

    qsizetype mfCount()
    {
        QMutexLocker lLocker(&mvMutex);
        return mvItems.size();
    }
};

// Keeps every item it is handed, whatever its level.
class Recorder : public ICLoggerObserver
{
public:
    Recorder(qint32 aLevel, std::shared_ptr<Record> apRecord, const QString& aName = "recorder")
        : ICLoggerObserver(aLevel, aName), mvRecord(std::move(apRecord))
    {}
    ~Recorder() override { mvRecord->mvDestroyed = true; }
    void mpSlotInitialize() override { mpNote(QStringLiteral("init")); }
    void mpSlotLogEvent(const ICLoggerItem& aItem) override
    {
        mpNote(QStringLiteral("item"));
        QMutexLocker lLocker(&mvRecord->mvMutex);
        mvRecord->mvItems << aItem;
    }
    void mpSlotFinalize() override { mpNote(QStringLiteral("final")); }

private:
    void mpNote(const QString& aWhat)
    {
        QMutexLocker lLocker(&mvRecord->mvMutex);
        mvRecord->mvThreads << aWhat + QLatin1Char(' ') + QThread::currentThread()->objectName();
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
    void initTestCase();
    void thresholdFollowsRegistrations();
    void thresholdFollowsLevelChanges();
    void predicates_data();
    void predicates();
    void itemsAreStampedAndDelivered();
    void removalWritesEveryQueuedItem();
    void removeAllFinalisesEveryObserver();
    void exitWritesEveryQueuedItem();
    void removalAmidLoggingThreads();
};

void tst_LoggerModel::initTestCase()
{
    QThread::currentThread()->setObjectName(QStringLiteral("test main"));
}

void tst_LoggerModel::thresholdFollowsRegistrations()
{
    ICLoggerModel* lModel = gfFreshModel();
    QSignalSpy lSpy(lModel, &ICLoggerModel::mpSignalLogItem);
    for (qint32 lLevel = Status; lLevel <= Fatal; ++lLevel)
        lModel->mpLog(lLevel, QString());
    QCOMPARE(lSpy.count(), 2); // Status and Fatal

    auto lWarnRecord = std::make_shared<Record>();
    auto lDebugRecord = std::make_shared<Record>();
    auto* lWarn = new Recorder(Warn, lWarnRecord);
    auto* lDebug = new Recorder(Debug, lDebugRecord);
    lModel->mpAddObserver(lWarn, false);
    lModel->mpAddObserver(lDebug, false);
    lModel->mpAddObserver(lDebug, false);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));
    // Each observer gets the item once, whatever its own level.
    lModel->mpLog(Debug, QStringLiteral("debug"));
    QCOMPARE(lWarnRecord->mfCount(), 1);
    QCOMPARE(lDebugRecord->mfCount(), 1);

    // Removing an observer that is not registered changes nothing.
    auto lStrayRecord = std::make_shared<Record>();
    auto* lStray = new Recorder(Debug, lStrayRecord);
    lModel->mpRemoveObserver(lStray);
    QVERIFY(!lStrayRecord->mvDestroyed);
    QVERIFY(lStrayRecord->mvThreads.isEmpty());
    QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));
    delete lStray;

    lModel->mpRemoveObserver(lDebug);
    QVERIFY(lDebugRecord->mvDestroyed);
    QCOMPARE(lDebugRecord->mvThreads.last(), QStringLiteral("final test main"));
    QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
    lModel->mpLog(Info, QStringLiteral("dropped"));
    lModel->mpLog(Status, QStringLiteral("status passes"));
    QCOMPARE(lWarnRecord->mfCount(), 2);
    lModel->mpRemoveObserver(lWarn);
    QVERIFY(lWarnRecord->mvDestroyed);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    QVERIFY(!lModel->mfHasObservers());
}

void tst_LoggerModel::thresholdFollowsLevelChanges()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto* lFirst = new Recorder(Debug, std::make_shared<Record>());
    auto* lSecond = new Recorder(Info, std::make_shared<Record>());
    lModel->mpAddObserver(lFirst, false);
    lModel->mpAddObserver(lSecond, false);
    // The observer that set the threshold rises: the next lowest takes over.
    lFirst->mpSetLevel(Error);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));
    // One that did not set it rises: nothing moves.
    lFirst->mpSetLevel(Fatal);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));
    lFirst->mpSetLevel(Status);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Status));
    lFirst->mpSetLevel(Fatal);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));
    QVERIFY(!lModel->mpUpdateLevel(Warn, Info));
    QVERIFY(!lModel->mpUpdateLevel(Debug, Warn));
    lModel->mpRemoveObserver(lSecond);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::predicates_data()
{
    QTest::addColumn<qint32>("threshold");
    QTest::addColumn<QList<bool>>("enabled"); // debug, diag, info, warn, error
    // Debug is enabled at exactly 0: a Status threshold reports it disabled.
    QTest::newRow("-1") << -1 << QList<bool>{false, true, true, true, true};
    QTest::newRow("0") << 0 << QList<bool>{true, true, true, true, true};
    QTest::newRow("1") << 1 << QList<bool>{false, true, true, true, true};
    QTest::newRow("2") << 2 << QList<bool>{false, false, true, true, true};
    QTest::newRow("4") << 4 << QList<bool>{false, false, false, false, true};
    QTest::newRow("5") << 5 << QList<bool>{false, false, false, false, false};
}

void tst_LoggerModel::predicates()
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

void tst_LoggerModel::itemsAreStampedAndDelivered()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<Record>();
    lModel->mpAddObserver(new Recorder(Debug, lRecord), false);
    const QDateTime lBefore = QDateTime::currentDateTime();
    lModel->mpLog(Info, QStringLiteral("main"), 0xabc);
    const QDateTime lAfter = QDateTime::currentDateTime();
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

    const ICLoggerItem lMain = lRecord->mvItems[0];
    QCOMPARE(lMain.mfGetText(), QStringLiteral("main"));
    QCOMPARE(lMain.mfGetLevel(), qint32(Info));
    QCOMPARE(lMain.mfGetClassId(), quint64(0xabc));
    QCOMPARE(lMain.mfGetThreadId(), quint64(QCoreApplication::applicationPid()));
    QCOMPARE(lMain.mfGetThreadName(), QStringLiteral("test main"));
    QVERIFY(lMain.mfGetDateTime() >= lBefore && lMain.mfGetDateTime() <= lAfter);
    QCOMPARE(lMain.mfGetDateTime().timeSpec(), Qt::LocalTime);
    QCOMPARE(lRecord->mvItems[1].mfGetThreadId(), lWorkerId);
    QVERIFY(lWorkerId != lMain.mfGetThreadId());
    QVERIFY(lRecord->mvItems[1].mfGetThreadName().isEmpty());
    QCOMPARE(lRecord->mvThreads,
             QStringList({"init test main", "item test main", "item test main"}));
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::removalWritesEveryQueuedItem()
{
    const int lCount = 20000;
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<Record>();
    auto* lObserver = new Recorder(Debug, lRecord, QStringLiteral("Observer Thread"));
    lModel->mpAddObserver(lObserver, true);
    QCOMPARE(lObserver->thread(), lObserver->mfGetThread());
    // A second logger races the removal; its late items are simply not delivered.
    std::thread lWorker([lModel] {
        for (int i = 0; i < lCount; ++i)
            lModel->mpLog(Info, QStringLiteral("w%1").arg(i));
    });
    for (int i = 0; i < lCount; ++i)
        lModel->mpLog(Info, QStringLiteral("m%1").arg(i));
    lModel->mpRemoveObserver(lObserver);
    lWorker.join();

    QVERIFY(lRecord->mvDestroyed);
    int lMain = 0;
    int lOther = 0;
    for (const ICLoggerItem& lItem : lRecord->mvItems) {
        const QString lText = lItem.mfGetText();
        if (lText.startsWith(QLatin1Char('m')))
            QCOMPARE(lText, QStringLiteral("m%1").arg(lMain++));
        else
            QCOMPARE(lText, QStringLiteral("w%1").arg(lOther++));
    }
    QCOMPARE(lMain, lCount);
    // Everything ran in the observer's thread, named after the observer.
    QCOMPARE(lRecord->mvThreads.first(), QStringLiteral("init Observer Thread"));
    QCOMPARE(lRecord->mvThreads.last(), QStringLiteral("final Observer Thread"));
    QCOMPARE(lRecord->mvThreads.count(QStringLiteral("item Observer Thread")), lMain + lOther);
}

void tst_LoggerModel::removeAllFinalisesEveryObserver()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lThreaded = std::make_shared<Record>();
    auto lDirect = std::make_shared<Record>();
    lModel->mpAddObserver(new Recorder(Diag, lThreaded), true);
    lModel->mpAddObserver(new Recorder(Warn, lDirect), false);
    for (int i = 0; i < 1000; ++i)
        lModel->mpLog(Warn, QString::number(i));
    lModel->mpRemoveObserver();
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    QVERIFY(!lModel->mfHasObservers());
    for (const auto& lRecord : {lThreaded, lDirect}) {
        QCOMPARE(lRecord->mfCount(), 1000);
        QVERIFY(lRecord->mvThreads.last().startsWith(QStringLiteral("final")));
        QVERIFY(lRecord->mvDestroyed);
    }
}

void tst_LoggerModel::exitWritesEveryQueuedItem()
{
    const int lCount = 20000;
    QTemporaryDir lDirectory;
    QVERIFY(lDirectory.isValid());
    const QString lPath = lDirectory.filePath(QStringLiteral("exit.log"));
    QProcess lHelper;
    lHelper.start(QStringLiteral(LOGGING_TEST_HELPER),
                  {QStringLiteral("exit-file"), lPath, QString::number(lCount)});
    QVERIFY2(lHelper.waitForFinished(120000), qPrintable(lHelper.errorString()));
    QCOMPARE(lHelper.exitStatus(), QProcess::NormalExit);
    QCOMPARE(lHelper.exitCode(), 0);

    QFile lFile(lPath);
    QVERIFY(lFile.open(QIODevice::ReadOnly));
    const QList<QByteArray> lLines = lFile.readAll().split('\n');
    // Header, the items, and the empty piece after the last line feed.
    QCOMPARE(lLines.size(), lCount + 2);
    for (int i = 0; i < lCount; ++i) {
        if (!lLines[i + 1].endsWith(QByteArray("\t: item " + QByteArray::number(i))))
            QFAIL(qPrintable(QStringLiteral("line %1: %2").arg(i + 1).arg(lLines[i + 1])));
    }
}

void tst_LoggerModel::removalAmidLoggingThreads()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<Record>();
    auto* lObserver = new Recorder(Debug, lRecord);
    lModel->mpAddObserver(lObserver, true);
    std::atomic<int> lLogged[3] = {};
    std::vector<std::thread> lWorkers;
    for (int t = 0; t < 3; ++t)
        lWorkers.emplace_back([&, t] {
            for (int i = 0; i < 50000; ++i, ++lLogged[t])
                lModel->mpLog(Info, QStringLiteral("%1 %2").arg(t).arg(i));
        });
    QTRY_VERIFY_WITH_TIMEOUT(lLogged[0] > 10000, 60000);
    const QList<int> lBefore = {lLogged[0], lLogged[1], lLogged[2]};
    lModel->mpRemoveObserver(lObserver);
    for (std::thread& lWorker : lWorkers)
        lWorker.join();
    // Per thread: in order, once each, and all that was logged before the removal.
    QList<int> lNext(3, 0);
    for (const ICLoggerItem& lItem : std::as_const(lRecord->mvItems)) {
        const QStringList lWords = lItem.mfGetText().split(QLatin1Char(' '));
        QCOMPARE(lWords[1].toInt(), lNext[lWords[0].toInt()]++);
    }
    for (int t = 0; t < 3; ++t)
        QVERIFY2(lNext[t] >= lBefore[t], qPrintable(QString::number(lNext[t])));
}

QTEST_GUILESS_MAIN(tst_LoggerModel)
#include "tst_loggermodel.moc"
