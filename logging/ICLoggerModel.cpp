#include "ICLoggerModel.h"

#include "ICLoggerObserver.h"

#include <QHash>
#include <QMutex>
#include <QThread>

#include <algorithm>
#include <cstdlib>

namespace {
// The models of the process. Allocated once and never freed, so that it is
// still there for code that logs while the process exits.
struct ModelRegistry
{
    QMutex mvMutex;
    ICLoggerModel* mvDefault = nullptr;
    QHash<QString, ICLoggerModel*> mvNamed;
    bool mvCleanupRegistered = false;
};

ModelRegistry& gfRegistry()
{
    static ModelRegistry* sRegistry = new ModelRegistry;
    return *sRegistry;
}

// Runs among the process's exit handlers: every observer thread is finalised
// and joined, so no queued item is lost when the program ends with exit().
void gpDeleteAllModels()
{
    ModelRegistry& lRegistry = gfRegistry();
    ICLoggerModel* lDefault;
    QList<ICLoggerModel*> lNamed;
    {
        QMutexLocker lLocker(&lRegistry.mvMutex);
        lDefault = lRegistry.mvDefault;
        lRegistry.mvDefault = nullptr;
        lNamed = lRegistry.mvNamed.values();
        lRegistry.mvNamed.clear();
        lRegistry.mvCleanupRegistered = false;
    }
    delete lDefault;
    qDeleteAll(lNamed);
}

// QDateTime::currentDateTime() converts through tzset(), which stats
// /etc/localtime on every call: the costliest part of stamping an item. Within
// one millisecond the answer cannot change, so each thread keeps its last one.
QDateTime gfCurrentDateTime()
{
    thread_local qint64 tMSecs = -1;
    thread_local QDateTime tDateTime;
    const qint64 lNow = QDateTime::currentMSecsSinceEpoch();
    if (lNow != tMSecs) {
        tDateTime = QDateTime::fromMSecsSinceEpoch(lNow, Qt::LocalTime);
        tMSecs = lNow;
    }
    return tDateTime;
}
} // namespace

ICLoggerModel* ICLoggerModel::instance(const QString& aName)
{
    ModelRegistry& lRegistry = gfRegistry();
    QMutexLocker lLocker(&lRegistry.mvMutex);
    ICLoggerModel*& lModel = aName.isEmpty() ? lRegistry.mvDefault : lRegistry.mvNamed[aName];
    if (!lModel) {
        lModel = new ICLoggerModel;
        if (!lRegistry.mvCleanupRegistered) {
            std::atexit(gpDeleteAllModels);
            lRegistry.mvCleanupRegistered = true;
        }
    }
    return lModel;
}

ICLoggerModel::ICLoggerModel() = default;

ICLoggerModel::~ICLoggerModel()
{
    mpRemoveObserver(nullptr);
}

void ICLoggerModel::mpLog(qint32 aLevel, const QString& aText, quint64 aClassId)
{
    if (!gfLevelPasses(aLevel, mvFastThreshold.loadRelaxed()))
        return;
    // Held while the item is queued and emitted: a threshold change, and the
    // removal of an observer, wait until items in progress have been handed over.
    QReadLocker lLocker(&mvLevelLock);
    if (!gfLevelPasses(aLevel, mvThreshold))
        return;
    const QThread* lThread = QThread::currentThread();
    const ICLoggerItem lItem(aText, gfCurrentDateTime(), aLevel, gfCurrentThreadId(),
                             lThread ? lThread->objectName() : QString(), aClassId);
    for (ICLoggerObserver* lObserver : std::as_const(mvQueuedObservers))
        lObserver->mpQueueItem(lItem);
    Q_EMIT mpSignalLogItem(lItem);
}

void ICLoggerModel::mpLogStatus(const QString& aText, quint64 aClassId)
{
    mpLog(Status, aText, aClassId);
}

void ICLoggerModel::mpAddObserver(ICLoggerObserver* apObserver, bool aOwnThread)
{
    if (!apObserver)
        return;
    QWriteLocker lObserverLocker(&mvObserverLock);
    if (mvObservers.contains(apObserver))
        return;
    mvObservers.append(apObserver);
    apObserver->mfAttachModel(this);
    {
        const qint32 lLevel = apObserver->mfGetLevel();
        QWriteLocker lLevelLocker(&mvLevelLock);
        if (lLevel < mvThreshold)
            mpSetThreshold(lLevel);
    }
    if (aOwnThread) {
        auto* lThread = new QThread;
        lThread->setObjectName(apObserver->mfGetName());
        apObserver->mpSetThread(lThread);
        apObserver->moveToThread(lThread);
        connect(lThread, &QThread::started, apObserver, &ICLoggerObserver::mpSlotInitialize);
        connect(lThread, &QThread::finished, apObserver, &ICLoggerObserver::mpSlotFinalize);
        lThread->start(QThread::InheritPriority);
        QWriteLocker lLevelLocker(&mvLevelLock);
        mvQueuedObservers.append(apObserver);
    } else {
        apObserver->mpSlotInitialize();
        connect(this, &ICLoggerModel::mpSignalLogItem, apObserver,
                &ICLoggerObserver::mpSlotLogEvent, Qt::AutoConnection);
    }
}

void ICLoggerModel::mpRemoveObserver(ICLoggerObserver* apObserver)
{
    QWriteLocker lObserverLocker(&mvObserverLock);
    if (!apObserver) {
        const QList<ICLoggerObserver*> lObservers = mvObservers;
        for (ICLoggerObserver* lObserver : lObservers) {
            mpFinalizeAndDetach(lObserver);
            delete lObserver;
        }
        mvObservers.clear();
        QWriteLocker lLevelLocker(&mvLevelLock);
        mpSetThreshold(Fatal);
        return;
    }
    if (!mvObservers.removeOne(apObserver))
        return;
    mpFinalizeAndDetach(apObserver);
    {
        const qint32 lRemovedLevel = apObserver->mfGetLevel();
        const qint32 lMinimum = mfMinimumObserverLevel();
        QWriteLocker lLevelLocker(&mvLevelLock);
        if (lRemovedLevel == mvThreshold && lMinimum > mvThreshold)
            mpSetThreshold(lMinimum);
    }
    delete apObserver;
}

void ICLoggerModel::mpFinalizeAndDetach(ICLoggerObserver* apObserver)
{
    disconnect(this, &ICLoggerModel::mpSignalLogItem, apObserver,
               &ICLoggerObserver::mpSlotLogEvent);
    // Calls that started before this hold the level lock for reading; once we
    // get it for writing their items are queued, no later item can be, and the
    // finalisation request below lands behind them.
    {
        QWriteLocker lBarrier(&mvLevelLock);
        mvQueuedObservers.removeOne(apObserver);
    }
    apObserver->mpRequestFinalization();
    if (QThread* lThread = apObserver->mfGetThread()) {
        lThread->wait();
        apObserver->mpSetThread(nullptr);
        delete lThread;
    } else {
        apObserver->mpSlotFinalize();
    }
    apObserver->mfDetachModel(this);
}

bool ICLoggerModel::mpUpdateLevel(qint32 aOldLevel, qint32 aNewLevel)
{
    // Lock order everywhere: observer list, then level, then an observer's own.
    QReadLocker lObserverLocker(&mvObserverLock);
    QWriteLocker lLevelLocker(&mvLevelLock);
    if (mvThreshold > aNewLevel) {
        mpSetThreshold(aNewLevel);
        return true;
    }
    if (mvThreshold == aNewLevel || mvThreshold != aOldLevel)
        return false;
    mpSetThreshold(std::min(aNewLevel, mfMinimumObserverLevel()));
    return true;
}

qint32 ICLoggerModel::mfMinimumObserverLevel() const
{
    qint32 lMinimum = Fatal;
    for (const ICLoggerObserver* lObserver : mvObservers)
        lMinimum = std::min(lMinimum, lObserver->mfGetLevel());
    return lMinimum;
}

void ICLoggerModel::mpSetThreshold(qint32 aThreshold)
{
    mvThreshold = aThreshold;
    mvFastThreshold.storeRelaxed(aThreshold);
}

qint32 ICLoggerModel::mfGetThreshold() const
{
    QReadLocker lLocker(&mvLevelLock);
    return mvThreshold;
}

bool ICLoggerModel::mfIsDebugEnabled() const
{
    return mfGetThreshold() == Debug;
}

bool ICLoggerModel::mfIsDiagEnabled() const
{
    return mfGetThreshold() < Info;
}

bool ICLoggerModel::mfIsInfoEnabled() const
{
    return mfGetThreshold() < Warn;
}

bool ICLoggerModel::mfIsWarnEnabled() const
{
    return mfGetThreshold() < Error;
}

bool ICLoggerModel::mfIsErrorEnabled() const
{
    return mfGetThreshold() < Fatal;
}

bool ICLoggerModel::mfHasObservers() const
{
    QReadLocker lLocker(&mvObserverLock);
    return !mvObservers.isEmpty();
}
