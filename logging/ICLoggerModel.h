#ifndef ICLOGGERMODEL_H
#define ICLOGGERMODEL_H

#include "ICLoggerItem.h"
#include "ICLoggerLevel.h"
#include "ICLoggingExport.h"

#include <QAtomicInt>
#include <QList>
#include <QObject>
#include <QReadWriteLock>
#include <QString>

class ICLoggerObserver;

// The hub every part of the system logs into. Items below the threshold (the
// lowest level of the registered observers, 5 without any) are dropped on the
// calling thread; the rest are stamped, queued to the observers that have a
// thread of their own and emitted to the others. Status items always pass. Models live until the
// process exits, when one exit handler deletes them all: every queued item is written before that
// returns.
class ICLOGGING_EXPORT ICLoggerModel : public QObject
{
    Q_OBJECT
public:
    // The model of that name, created on first request; the empty name is the
    // default model.
    static ICLoggerModel* instance(const QString& aName = QString());

    ~ICLoggerModel() override;

    void mpLog(qint32 aLevel, const QString& aText, quint64 aClassId = 0);
    void mpLogStatus(const QString& aText, quint64 aClassId = 0);

    // Registers and takes ownership of the observer. With aOwnThread the
    // observer is moved to a new thread named after it and gets items in
    // batches through its queue (ICLoggerObserver::mpQueueItem); otherwise it
    // is initialised at once and called directly from logging threads of its
    // own thread (queued from others).
    void mpAddObserver(ICLoggerObserver* apObserver, bool aOwnThread);
    // Finalises and destroys one registered observer (all with nullptr). Items
    // logged before this call are written first. An unregistered observer is
    // left alone.
    void mpRemoveObserver(ICLoggerObserver* apObserver = nullptr);
    // Called by an observer whose level changed; true when the threshold moved.
    bool mpUpdateLevel(qint32 aOldLevel, qint32 aNewLevel);

    qint32 mfGetThreshold() const;
    bool mfIsDebugEnabled() const;
    bool mfIsDiagEnabled() const;
    bool mfIsInfoEnabled() const;
    bool mfIsWarnEnabled() const;
    bool mfIsErrorEnabled() const;
    bool mfHasObservers() const;

Q_SIGNALS:
    void mpSignalLogItem(const ICLoggerItem& aItem);

private:
    ICLoggerModel();
    void mpFinalizeAndDetach(ICLoggerObserver* apObserver);
    void mpSetThreshold(qint32 aThreshold);
    qint32 mfMinimumObserverLevel() const;

    QList<ICLoggerObserver*> mvObservers;
    // The observers with a thread of their own, which get items through their
    // queues rather than the signal; changed under the level lock for writing.
    QList<ICLoggerObserver*> mvQueuedObservers;
    mutable QReadWriteLock mvLevelLock;
    mutable QReadWriteLock mvObserverLock;
    qint32 mvThreshold = Fatal;
    // A copy of the threshold that the filter reads without the lock, so that a
    // dropped item costs a few nanoseconds on the logging thread.
    QAtomicInt mvFastThreshold{Fatal};
};

#endif
