#include "ICConsoleLogger.h"
#include "LogCapture.h"
#include "UBXMutexLocker.h"
#include "UBXRecursiveMutex.h"
#include "UBXThread.h"

#include <QProcess>
#include <QSemaphore>
#include <QtTest>

#include <atomic>
#include <thread>

namespace {
const char* const sRunningDestroyArgument = "--destroy-running-thread";

class BlockedThread : public UBXThread
{
public:
    BlockedThread() : UBXThread(QStringLiteral("Worker")) {}
    QSemaphore mvStarted;
    QSemaphore mvRelease;

protected:
    void run() override
    {
        mvStarted.release();
        mvRelease.acquire();
    }
};

// Child mode: destroys a thread that still runs. Qt aborts the process after
// the destructor's complaint, so the complaint goes to a direct console sink.
int gfDestroyRunningThread()
{
    auto* lConsole = new ICConsoleLogger;
    lConsole->mpSetLevel(Debug);
    ICLoggerModel::instance()->mpAddObserver(lConsole, false);
    auto* lThread = new BlockedThread;
    lThread->start();
    lThread->mvStarted.acquire();
    delete lThread;
    return 0;
}
} // namespace

class tst_UBXThread : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void finishedThreadIsDestroyedSilently()
    {
        LogCapture lLog;
        auto* lThread = new BlockedThread;
        lThread->start();
        lThread->mvRelease.release();
        QVERIFY(lThread->wait(10000));
        delete lThread;
        QVERIFY(lLog.mfItems().isEmpty());
    }

    void runningThreadIsReportedWithItsName()
    {
        QProcess lChild;
        lChild.start(QCoreApplication::applicationFilePath(), {sRunningDestroyArgument});
        QVERIFY(lChild.waitForFinished(30000));
        const QByteArray lOutput = lChild.readAllStandardOutput();
        QVERIFY2(lOutput.startsWith("Error\t"), lOutput.constData());
        QVERIFY2(lOutput.contains("\t[UBXThread::~UBXThread] Thread <<Worker>> is deleted while it "
                                  "is still running!\n"),
                 lOutput.constData());
        // Destroying a running thread stays fatal, as for any QThread.
        QCOMPARE(lChild.exitStatus(), QProcess::CrashExit);
    }

    void nestedLockersOnOneThreadDoNotDeadlock()
    {
        UBXRecursiveMutex lMutex;
        {
            UBXMutexLocker lOuter(lMutex);
            UBXMutexLocker lInner(lMutex);
        }
        // Every locker unlocked again: another thread can take the mutex.
        std::atomic<bool> lOtherHadLock{false};
        std::thread lOther([&] {
            UBXMutexLocker lLocker(lMutex);
            lOtherHadLock = true;
        });
        lOther.join();
        QVERIFY(lOtherHadLock);
    }
};

int main(int argc, char* argv[])
{
    if (argc > 1 && qstrcmp(argv[1], sRunningDestroyArgument) == 0) {
        QCoreApplication lApplication(argc, argv);
        return gfDestroyRunningThread();
    }
    QCoreApplication lApplication(argc, argv);
    tst_UBXThread lTest;
    return QTest::qExec(&lTest, argc, argv);
}

#include "tst_UBXThread.moc"
