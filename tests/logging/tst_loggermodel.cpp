#include "ICLoggerModel.h"
#include "RecordingObserver.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <thread>

namespace {
// A model of its own for each test, so that no registration leaks into the next.
ICLoggerModel* gfFreshModel()
{
    static int sCounter = 0;
    return ICLoggerModel::instance(QStringLiteral("model %1").arg(++sCounter));
}

RecordingObserver* gfRecorder(qint32 aLevel, const std::shared_ptr<ObserverRecord>& apRecord,
                              const QString& aName = QStringLiteral("recorder"))
{
    return new RecordingObserver(aLevel, aName, apRecord);
}
} // namespace

class tst_LoggerModel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void instancesByName();
    void withoutObserversOnlyFatalAndStatusPass();
    void thresholdFollowsRegistrations();
    void thresholdFollowsLevelChanges();
    void sameObserverTwiceIsOneRegistration();
    void removingUnregisteredObserverChangesNothing();
    void statusPassesEveryThreshold();
    void predicates_data();
    void predicates();
    void itemIsStamped();
    void directObserverLivesInItsThread();
    void ownThreadObserverLifecycle();
    void removalWritesEveryQueuedItem();
    void removeAllFinalisesEveryObserver();
    void exitWritesEveryQueuedItem();
};

void tst_LoggerModel::instancesByName()
{
    ICLoggerModel* lDefault = ICLoggerModel::instance();
    QVERIFY(lDefault);
    QCOMPARE(ICLoggerModel::instance(QString()), lDefault);
    QCOMPARE(ICLoggerModel::instance(QStringLiteral("")), lDefault);
    ICLoggerModel* lNamed = ICLoggerModel::instance(QStringLiteral("named"));
    QVERIFY(lNamed != lDefault);
    QCOMPARE(ICLoggerModel::instance(QStringLiteral("named")), lNamed);
}

void tst_LoggerModel::withoutObserversOnlyFatalAndStatusPass()
{
    ICLoggerModel* lModel = gfFreshModel();
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    QVERIFY(!lModel->mfHasObservers());
    QSignalSpy lSpy(lModel, &ICLoggerModel::mpSignalLogItem);
    for (qint32 lLevel = Status; lLevel <= Fatal + 1; ++lLevel)
        lModel->mpLog(lLevel, QString::number(lLevel));
    QCOMPARE(lSpy.count(), 3);
    QCOMPARE(lSpy[0][0].value<ICLoggerItem>().mfGetLevel(), qint32(Status));
    QCOMPARE(lSpy[1][0].value<ICLoggerItem>().mfGetLevel(), qint32(Fatal));
    QCOMPARE(lSpy[2][0].value<ICLoggerItem>().mfGetLevel(), qint32(Fatal + 1));
}

void tst_LoggerModel::thresholdFollowsRegistrations()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lWarnRecord = std::make_shared<ObserverRecord>();
    auto lDebugRecord = std::make_shared<ObserverRecord>();
    RecordingObserver* lWarn = gfRecorder(Warn, lWarnRecord);
    RecordingObserver* lDebug = gfRecorder(Debug, lDebugRecord);

    lModel->mpAddObserver(lWarn, false);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
    lModel->mpAddObserver(lDebug, false);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));
    QVERIFY(lWarnRecord->mvInitialized);

    // Below the threshold nothing is emitted; above it every observer gets the
    // item, whatever its own level (each sink filters again).
    lModel->mpLog(Debug, QStringLiteral("debug"));
    QCOMPARE(lWarnRecord->mfCount(), 1);
    QCOMPARE(lDebugRecord->mfCount(), 1);

    lModel->mpRemoveObserver(lDebug);
    QVERIFY(lDebugRecord->mvFinalized);
    QVERIFY(lDebugRecord->mvDestroyed);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
    lModel->mpLog(Info, QStringLiteral("dropped"));
    QCOMPARE(lWarnRecord->mfCount(), 1);

    lModel->mpRemoveObserver(lWarn);
    QVERIFY(lWarnRecord->mvDestroyed);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    QVERIFY(!lModel->mfHasObservers());
}

void tst_LoggerModel::thresholdFollowsLevelChanges()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    RecordingObserver* lFirst = gfRecorder(Debug, lRecord);
    RecordingObserver* lSecond = gfRecorder(Info, lRecord);
    lModel->mpAddObserver(lFirst, false);
    lModel->mpAddObserver(lSecond, false);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Debug));

    // The observer that set the threshold rises: the next lowest takes over.
    lFirst->mpSetLevel(Error);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));
    // An observer that did not set the threshold rises: nothing moves.
    lFirst->mpSetLevel(Fatal);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));
    // Going below the threshold lowers it at once.
    lFirst->mpSetLevel(Diag);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Diag));
    lFirst->mpSetLevel(Status);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Status));
    // Rising above every other observer leaves the lowest of the others.
    lFirst->mpSetLevel(Fatal);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));

    QVERIFY(!lModel->mpUpdateLevel(Warn, Info));
    QVERIFY(!lModel->mpUpdateLevel(Debug, Warn));
    QCOMPARE(lModel->mfGetThreshold(), qint32(Info));

    // A removed observer's level changes no longer reach the model.
    lModel->mpRemoveObserver(lSecond);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    lModel->mpRemoveObserver(lFirst);
}

void tst_LoggerModel::sameObserverTwiceIsOneRegistration()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    RecordingObserver* lObserver = gfRecorder(Info, lRecord);
    lModel->mpAddObserver(lObserver, false);
    lModel->mpAddObserver(lObserver, false);
    lModel->mpLog(Info, QStringLiteral("once"));
    QCOMPARE(lRecord->mfCount(), 1);
    lModel->mpRemoveObserver(lObserver);
    QVERIFY(lRecord->mvDestroyed);
    QVERIFY(!lModel->mfHasObservers());
}

void tst_LoggerModel::removingUnregisteredObserverChangesNothing()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRegisteredRecord = std::make_shared<ObserverRecord>();
    auto lStrayRecord = std::make_shared<ObserverRecord>();
    lModel->mpAddObserver(gfRecorder(Warn, lRegisteredRecord), false);
    RecordingObserver* lStray = gfRecorder(Warn, lStrayRecord);

    lModel->mpRemoveObserver(lStray);
    QVERIFY(!lStrayRecord->mvFinalized);
    QVERIFY(!lStrayRecord->mvDestroyed);
    QVERIFY(lModel->mfHasObservers());
    QCOMPARE(lModel->mfGetThreshold(), qint32(Warn));
    lModel->mpLog(Warn, QStringLiteral("still there"));
    QCOMPARE(lRegisteredRecord->mfCount(), 1);
    delete lStray;
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::statusPassesEveryThreshold()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    lModel->mpAddObserver(gfRecorder(Fatal, lRecord), false);
    lModel->mpLog(Error, QStringLiteral("error"));
    lModel->mpLogStatus(QStringLiteral("banner"), 3);
    lModel->mpLog(Fatal, QStringLiteral("fatal"));
    const QList<ICLoggerItem> lItems = lRecord->mfItems();
    QCOMPARE(lItems.size(), 2);
    QCOMPARE(lItems[0].mfGetLevel(), qint32(Status));
    QCOMPARE(lItems[0].mfGetText(), QStringLiteral("banner"));
    QCOMPARE(lItems[0].mfGetClassId(), quint64(3));
    QCOMPARE(lItems[1].mfGetLevel(), qint32(Fatal));
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::predicates_data()
{
    QTest::addColumn<qint32>("threshold");
    QTest::addColumn<bool>("debug");
    QTest::addColumn<bool>("diag");
    QTest::addColumn<bool>("info");
    QTest::addColumn<bool>("warn");
    QTest::addColumn<bool>("error");
    // Debug is enabled at exactly 0: a Status threshold reports it disabled.
    QTest::newRow("-1") << -1 << false << true << true << true << true;
    QTest::newRow("0") << 0 << true << true << true << true << true;
    QTest::newRow("1") << 1 << false << true << true << true << true;
    QTest::newRow("2") << 2 << false << false << true << true << true;
    QTest::newRow("3") << 3 << false << false << false << true << true;
    QTest::newRow("4") << 4 << false << false << false << false << true;
    QTest::newRow("5") << 5 << false << false << false << false << false;
}

void tst_LoggerModel::predicates()
{
    QFETCH(qint32, threshold);
    ICLoggerModel* lModel = gfFreshModel();
    lModel->mpAddObserver(gfRecorder(threshold, std::make_shared<ObserverRecord>()), false);
    QCOMPARE(lModel->mfGetThreshold(), threshold);
    QTEST(lModel->mfIsDebugEnabled(), "debug");
    QTEST(lModel->mfIsDiagEnabled(), "diag");
    QTEST(lModel->mfIsInfoEnabled(), "info");
    QTEST(lModel->mfIsWarnEnabled(), "warn");
    QTEST(lModel->mfIsErrorEnabled(), "error");
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::itemIsStamped()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    lModel->mpAddObserver(gfRecorder(Debug, lRecord), false);
    QThread::currentThread()->setObjectName(QStringLiteral("test main"));

    const QDateTime lBefore = QDateTime::currentDateTime();
    lModel->mpLog(Info, QStringLiteral("main"), 0xabc);
    const QDateTime lAfter = QDateTime::currentDateTime();
    quint64 lWorkerId = 0;
    std::thread lWorker([lModel, &lWorkerId] {
        lWorkerId = gfCurrentThreadId();
        lModel->mpLog(Warn, QStringLiteral("worker"));
    });
    lWorker.join();
    // The worker's item is queued to the observer's thread (this one).
    QTRY_COMPARE(lRecord->mfCount(), 2);

    const QList<ICLoggerItem> lItems = lRecord->mfItems();
    QCOMPARE(lItems[0].mfGetText(), QStringLiteral("main"));
    QCOMPARE(lItems[0].mfGetLevel(), qint32(Info));
    QCOMPARE(lItems[0].mfGetClassId(), quint64(0xabc));
    QCOMPARE(lItems[0].mfGetThreadId(), quint64(QCoreApplication::applicationPid()));
    QCOMPARE(lItems[0].mfGetThreadName(), QStringLiteral("test main"));
    QVERIFY(lItems[0].mfGetDateTime() >= lBefore);
    QVERIFY(lItems[0].mfGetDateTime() <= lAfter);
    QCOMPARE(lItems[0].mfGetDateTime().timeSpec(), Qt::LocalTime);
    QCOMPARE(lItems[1].mfGetThreadId(), lWorkerId);
    QVERIFY(lItems[1].mfGetThreadName().isEmpty());
    lModel->mpRemoveObserver();
}

void tst_LoggerModel::directObserverLivesInItsThread()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    lModel->mpAddObserver(gfRecorder(Debug, lRecord), false);
    QThread::currentThread()->setObjectName(QStringLiteral("test main"));
    QVERIFY(lRecord->mvInitialized);
    QCOMPARE(lRecord->mvInitializeThread, QStringLiteral("test main"));

    // Logged here: handled before mpLog returns.
    lModel->mpLog(Info, QStringLiteral("direct"));
    QCOMPARE(lRecord->mfCount(), 1);

    // Logged elsewhere: handled later, here, by the event loop.
    std::thread([lModel] { lModel->mpLog(Info, QStringLiteral("queued")); }).join();
    QCOMPARE(lRecord->mfCount(), 1);
    QTRY_COMPARE(lRecord->mfCount(), 2);
    QCOMPARE(lRecord->mvItemThreads, QStringList({"test main", "test main"}));
    lModel->mpRemoveObserver();
    QCOMPARE(lRecord->mvFinalizeThread, QStringLiteral("test main"));
}

void tst_LoggerModel::ownThreadObserverLifecycle()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    RecordingObserver* lObserver = gfRecorder(Debug, lRecord, QStringLiteral("Observer Thread"));
    lModel->mpAddObserver(lObserver, true);
    QVERIFY(lObserver->mfGetThread());
    QVERIFY(lObserver->mfGetThread() != QThread::currentThread());
    QCOMPARE(lObserver->thread(), lObserver->mfGetThread());
    QCOMPARE(lObserver->mfGetThread()->objectName(), QStringLiteral("Observer Thread"));

    lModel->mpLog(Info, QStringLiteral("to the thread"));
    QTRY_COMPARE(lRecord->mfCount(), 1);
    lModel->mpRemoveObserver(lObserver);

    QMutexLocker lLocker(&lRecord->mvMutex);
    QCOMPARE(lRecord->mvInitializeThread, QStringLiteral("Observer Thread"));
    QCOMPARE(lRecord->mvItemThreads, QStringList({"Observer Thread"}));
    QVERIFY(lRecord->mvFinalized);
    QCOMPARE(lRecord->mvFinalizeThread, QStringLiteral("Observer Thread"));
    QVERIFY(lRecord->mvDestroyed);
}

void tst_LoggerModel::removalWritesEveryQueuedItem()
{
    const int lCount = 20000;
    ICLoggerModel* lModel = gfFreshModel();
    auto lRecord = std::make_shared<ObserverRecord>();
    RecordingObserver* lObserver = gfRecorder(Debug, lRecord);
    lModel->mpAddObserver(lObserver, true);
    // Two loggers, one of them racing the removal.
    std::thread lWorker([lModel] {
        for (int i = 0; i < lCount; ++i)
            lModel->mpLog(Info, QStringLiteral("w%1").arg(i));
    });
    for (int i = 0; i < lCount; ++i)
        lModel->mpLog(Info, QStringLiteral("m%1").arg(i));
    lModel->mpRemoveObserver(lObserver);
    const qsizetype lAtRemoval = lRecord->mfCount();
    lWorker.join();

    QVERIFY(lRecord->mvDestroyed);
    QCOMPARE(lRecord->mfCount(), lAtRemoval);
    int lMain = 0;
    int lWorkerSeen = 0;
    for (const ICLoggerItem& lItem : lRecord->mfItems()) {
        const QString lText = lItem.mfGetText();
        if (lText.startsWith(QLatin1Char('m')))
            QCOMPARE(lText, QStringLiteral("m%1").arg(lMain++));
        else
            QCOMPARE(lText, QStringLiteral("w%1").arg(lWorkerSeen++));
    }
    // Every item logged on this thread before the removal was handled.
    QCOMPARE(lMain, lCount);
}

void tst_LoggerModel::removeAllFinalisesEveryObserver()
{
    ICLoggerModel* lModel = gfFreshModel();
    auto lThreaded = std::make_shared<ObserverRecord>();
    auto lDirect = std::make_shared<ObserverRecord>();
    lModel->mpAddObserver(gfRecorder(Diag, lThreaded), true);
    lModel->mpAddObserver(gfRecorder(Warn, lDirect), false);
    QCOMPARE(lModel->mfGetThreshold(), qint32(Diag));
    for (int i = 0; i < 1000; ++i)
        lModel->mpLog(Warn, QString::number(i));
    lModel->mpRemoveObserver();
    QVERIFY(!lModel->mfHasObservers());
    QCOMPARE(lModel->mfGetThreshold(), qint32(Fatal));
    QCOMPARE(lThreaded->mfCount(), 1000);
    QCOMPARE(lDirect->mfCount(), 1000);
    QVERIFY(lThreaded->mvFinalized && lThreaded->mvDestroyed);
    QVERIFY(lDirect->mvFinalized && lDirect->mvDestroyed);
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
    QVERIFY(lLines.first().startsWith("===== Log format: 2.0"));
    QVERIFY(lLines.last().isEmpty());
    for (int i = 0; i < lCount; ++i) {
        const QByteArray lExpected = "\t: item " + QByteArray::number(i);
        if (!lLines[i + 1].endsWith(lExpected))
            QFAIL(qPrintable(QStringLiteral("line %1: %2").arg(i + 1).arg(lLines[i + 1])));
    }
}

QTEST_GUILESS_MAIN(tst_LoggerModel)
#include "tst_loggermodel.moc"
