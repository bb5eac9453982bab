#ifndef RECORDINGOBSERVER_H
#define RECORDINGOBSERVER_H

#include "ICLoggerObserver.h"

#include <QList>
#include <QMutex>
#include <QString>

#include <memory>

// What a RecordingObserver saw. Kept apart from the observer because the model
// destroys observers on removal, and the tests look afterwards.
struct ObserverRecord
{
    mutable QMutex mvMutex;
    QList<ICLoggerItem> mvItems;
    // Name of the thread each item was handled in.
    QStringList mvItemThreads;
    QString mvInitializeThread;
    QString mvFinalizeThread;
    bool mvInitialized = false;
    bool mvFinalized = false;
    bool mvDestroyed = false;

    qsizetype mfCount() const;
    QList<ICLoggerItem> mfItems() const;
};

// A sink that keeps every item it is handed, whatever its level, so that the
// tests see exactly what the model delivered.
class RecordingObserver : public ICLoggerObserver
{
public:
    RecordingObserver(qint32 aLevel, const QString& aName,
                      std::shared_ptr<ObserverRecord> apRecord);
    ~RecordingObserver() override;

    void mpSlotInitialize() override;
    void mpSlotLogEvent(const ICLoggerItem& aItem) override;
    void mpSlotFinalize() override;

private:
    std::shared_ptr<ObserverRecord> mvRecord;
};

#endif
