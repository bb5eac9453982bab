#ifndef ICLOGGEROBSERVER_H
#define ICLOGGEROBSERVER_H

#include "ICLoggerItem.h"
#include "ICLoggerLevel.h"
#include "ICLoggingExport.h"

#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QReadWriteLock>
#include <QString>

#include <vector>

class ICLoggerModel;
class QThread;

// Base class of every log sink. A sink registered with its own thread (see
// ICLoggerModel::mpAddObserver) is moved to that thread: mpSlotInitialize runs
// there when the thread starts, every item arrives in mpSlotLogEvent on that
// thread, in the order each logging thread queued it, and mpSlotFinalize runs
// there as the thread finishes.
class ICLOGGING_EXPORT ICLoggerObserver : public QObject
{
    Q_OBJECT
public:
    ICLoggerObserver(qint32 aLevel, const QString& aName);
    ~ICLoggerObserver() override;

    qint32 mfGetLevel() const;
    // Stores the level and lets the attached model recompute its threshold.
    void mpSetLevel(qint32 aLevel);
    // True when an item of that level passes this observer's own filter.
    bool mfAccepts(qint32 aItemLevel) const;

    QString mfGetName() const;
    QThread* mfGetThread() const;
    void mpSetThread(QThread* apThread);

    // Attaches to apModel unless already attached to a model; true when it did.
    bool mfAttachModel(ICLoggerModel* apModel);
    // Detaches from apModel if that is the attached model; true when it did.
    bool mfDetachModel(ICLoggerModel* apModel);
    // Asks the observer's own thread, behind the items already queued to it, to end.
    void mpRequestFinalization();
    // Queues an item for the observer's own thread; any thread may call it.
    // The thread is woken only when it has gone idle: while it works through a
    // batch, further items cost their callers a lock and an append.
    void mpQueueItem(const ICLoggerItem& aItem);

public Q_SLOTS:
    virtual void mpSlotInitialize() = 0;
    virtual void mpSlotLogEvent(const ICLoggerItem& aItem) = 0;
    virtual void mpSlotFinalize() = 0;
    void mpSlotPrepareForFinalization();

protected:
    bool event(QEvent* apEvent) override;
    // True while the calling thread hands this observer a batch of queued
    // items; mpBatchDelivered follows each batch, so a sink may leave its
    // output buffered until then.
    bool mfIsDeliveringBatch() const;
    virtual void mpBatchDelivered();
    // The name must be final before the observer is registered: it names the thread.
    void mpSetName(const QString& aName);

private:
    QThread* mvThread = nullptr;
    mutable QReadWriteLock mvLock;
    qint32 mvLevel;
    QString mvName;
    QPointer<ICLoggerModel> mvModel;
    // Items queued for the own thread, and whether that thread has been woken
    // and not yet found the queue empty.
    QMutex mvQueueMutex;
    std::vector<ICLoggerItem> mvQueue;
    bool mvDeliveryPending = false;
    // The batch the own thread is writing; it trades places with mvQueue, so
    // that both keep their capacity.
    std::vector<ICLoggerItem> mvBatch;

    // On the own thread: hands queued items to mpSlotLogEvent until none is left.
    void mpDeliverQueuedItems();
};

#endif
