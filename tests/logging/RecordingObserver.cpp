#include "RecordingObserver.h"

#include <QThread>

namespace {
QString gfCurrentThreadName()
{
    return QThread::currentThread()->objectName();
}
} // namespace

qsizetype ObserverRecord::mfCount() const
{
    QMutexLocker lLocker(&mvMutex);
    return mvItems.size();
}

QList<ICLoggerItem> ObserverRecord::mfItems() const
{
    QMutexLocker lLocker(&mvMutex);
    return mvItems;
}

RecordingObserver::RecordingObserver(qint32 aLevel, const QString& aName,
                                     std::shared_ptr<ObserverRecord> apRecord)
    : ICLoggerObserver(aLevel, aName), mvRecord(std::move(apRecord))
{}

RecordingObserver::~RecordingObserver()
{
    QMutexLocker lLocker(&mvRecord->mvMutex);
    mvRecord->mvDestroyed = true;
}

void RecordingObserver::mpSlotInitialize()
{
    QMutexLocker lLocker(&mvRecord->mvMutex);
    mvRecord->mvInitialized = true;
    mvRecord->mvInitializeThread = gfCurrentThreadName();
}

void RecordingObserver::mpSlotLogEvent(const ICLoggerItem& aItem)
{
    QMutexLocker lLocker(&mvRecord->mvMutex);
    mvRecord->mvItems.append(aItem);
    mvRecord->mvItemThreads.append(gfCurrentThreadName());
}

void RecordingObserver::mpSlotFinalize()
{
    QMutexLocker lLocker(&mvRecord->mvMutex);
    mvRecord->mvFinalized = true;
    mvRecord->mvFinalizeThread = gfCurrentThreadName();
}
