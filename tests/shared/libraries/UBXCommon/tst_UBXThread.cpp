#include "ICConsoleLogger.h"
#include "ICLoggerModel.h"
#include "UBXMutexLocker.h"
#include "UBXRecursiveMutex.h"
#include "UBXThread.h"

#include <QProcess>
#include <QSemaphore>
#include <QtTest>

#include <thread>

namespace {
// Runs until released.
class BlockedThread : public UBXThread
{
public:
    BlockedThread() : UBXThread(QStringLiteral("Worker")) {}
    QSemaphore mvStarted, mvRelease;

protected:
    void run() override { mvStarted.release(), mvRelease.acquire(); }
};
} // namespace

class tst_UBXThread : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // In a child (see main) with a direct console sink, as Qt aborts after the complaint.
    // A thread that finished first goes silently.
    void runningThreadIsReportedWithItsName()
    {
        QProcess lChild;
        lChild.start(QCoreApplication::applicationFilePath(), {"--destroy-threads"});
        QVERIFY(lChild.waitForFinished(30000));
        const QString lOutput = QString::fromLatin1(lChild.readAllStandardOutput());
        QVERIFY2(
            QRegularExpression("^Error\\t[^\\n]*\\t\\[UBXThread::~UBXThread\\] Thread <<Worker>> "
                               "is deleted while it is still running!\\n$")
                .match(lOutput)
                .hasMatch(),
            qPrintable(lOutput));
        QCOMPARE(lChild.exitStatus(), QProcess::CrashExit); // as for any QThread
    }

    // Every locker unlocked again: another thread can take the mutex.
    void nestedLockersOnOneThreadDoNotDeadlock()
    {
        UBXRecursiveMutex lMutex;
        {
            UBXMutexLocker lOuter(lMutex), lInner(lMutex);
        }
        std::thread([&lMutex] { UBXMutexLocker lLocker(lMutex); }).join();
    }
};

int main(int argc, char* argv[])
{
    QCoreApplication lApplication(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--destroy-threads") == 0) {
        auto* lConsole = new ICConsoleLogger;
        lConsole->mpSetLevel(Debug);
        ICLoggerModel::instance()->mpAddObserver(lConsole, false);
        for (bool lFinished : {true, false}) {
            auto* lThread = new BlockedThread;
            lThread->start();
            lThread->mvStarted.acquire();
            if (lFinished)
                lThread->mvRelease.release(), lThread->wait();
            delete lThread;
        }
    }
    tst_UBXThread lTest;
    return QTest::qExec(&lTest, argc, argv);
}

#include "tst_UBXThread.moc"
