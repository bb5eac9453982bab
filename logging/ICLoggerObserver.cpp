#include "ICLoggerObserver.h"

#include "ICLoggerModel.h"

#include <QCoreApplication>
#include <QEvent>
#include <QThread>
#include <QTimer>

namespace {
// Posted to an idle observer when items are queued for it.
const QEvent::Type sDeliverEvent = static_cast<QEvent::Type>(QEvent::registerEventType());
// The observer whose batch this thread is handing over, if any. Per thread, so
// that a sink called directly from elsewhere meanwhile still sees no batch.
thread_local const ICLoggerObserver* tDeliveringObserver = nullptr;
} // namespace

ICLoggerObserver::ICLoggerObserver(qint32 aLevel, const QString& aName)
    : mvLevel(aLevel), mvName(aName)
{}

ICLoggerObserver::~ICLoggerObserver() = default;

qint32 ICLoggerObserver::mfGetLevel() const
{
    QReadLocker lLocker(&mvLock);
    return mvLevel;
}

void ICLoggerObserver::mpSetLevel(qint32 aLevel)
{
    qint32 lOldLevel;
    {
        QWriteLocker lLocker(&mvLock);
        lOldLevel = mvLevel;
        mvLevel = aLevel;
    }
    // The model takes its own locks before an observer's; calling it with ours
    // held could deadlock against a registration in progress.
    QPointer<ICLoggerModel> lModel;
    {
        QReadLocker lLocker(&mvLock);
        lModel = mvModel;
    }
    if (lModel)
        lModel->mpUpdateLevel(lOldLevel, aLevel);
}

bool ICLoggerObserver::mfAccepts(qint32 aItemLevel) const
{
    return gfLevelPasses(aItemLevel, mfGetLevel());
}

QString ICLoggerObserver::mfGetName() const
{
    QReadLocker lLocker(&mvLock);
    return mvName;
}

void ICLoggerObserver::mpSetName(const QString& aName)
{
    QWriteLocker lLocker(&mvLock);
    mvName = aName;
}

QThread* ICLoggerObserver::mfGetThread() const
{
    return mvThread;
}

void ICLoggerObserver::mpSetThread(QThread* apThread)
{
    mvThread = apThread;
}

bool ICLoggerObserver::mfAttachModel(ICLoggerModel* apModel)
{
    QWriteLocker lLocker(&mvLock);
    if (mvModel)
        return false;
    mvModel = apModel;
    return true;
}

bool ICLoggerObserver::mfDetachModel(ICLoggerModel* apModel)
{
    QWriteLocker lLocker(&mvLock);
    if (mvModel != apModel)
        return false;
    mvModel = nullptr;
    return true;
}

void ICLoggerObserver::mpRequestFinalization()
{
    if (mvThread)
        QTimer::singleShot(0, this, &ICLoggerObserver::mpSlotPrepareForFinalization);
}

void ICLoggerObserver::mpSlotPrepareForFinalization()
{
    if (mvThread)
        mvThread->quit();
}

void ICLoggerObserver::mpQueueItem(const ICLoggerItem& aItem)
{
    bool lWake;
    {
        QMutexLocker lLocker(&mvQueueMutex);
        mvQueue.push_back(aItem);
        lWake = !mvDeliveryPending;
        mvDeliveryPending = true;
    }
    if (lWake)
        QCoreApplication::postEvent(this, new QEvent(sDeliverEvent));
}

bool ICLoggerObserver::mfIsDeliveringBatch() const
{
    return tDeliveringObserver == this;
}

void ICLoggerObserver::mpBatchDelivered() {}

bool ICLoggerObserver::event(QEvent* apEvent)
{
    if (apEvent->type() != sDeliverEvent)
        return QObject::event(apEvent);
    mpDeliverQueuedItems();
    return true;
}

void ICLoggerObserver::mpDeliverQueuedItems()
{
    for (;;) {
        {
            QMutexLocker lLocker(&mvQueueMutex);
            if (mvQueue.empty()) {
                mvDeliveryPending = false;
                return;
            }
            mvQueue.swap(mvBatch);
        }
        tDeliveringObserver = this;
        for (const ICLoggerItem& lItem : mvBatch)
            mpSlotLogEvent(lItem);
        tDeliveringObserver = nullptr;
        mvBatch.clear();
        mpBatchDelivered();
    }
}
