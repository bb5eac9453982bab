#ifndef LOGCAPTURE_H
#define LOGCAPTURE_H

#include "ICLoggerModel.h"
#include "ICLoggerObserver.h"

#include <QMutex>
#include <QMutexLocker>
#include <QStringList>
#include <QVector>

// Records every item of the default logger model while it exists. Registered
// without a thread of its own: items logged on the test's thread arrive at
// once, items of other threads when the test's event loop runs (QTRY_*).
class LogCapture
{
public:
    explicit LogCapture(qint32 aLevel = Debug) : mvObserver(new Recorder(aLevel))
    {
        ICLoggerModel::instance()->mpAddObserver(mvObserver, false);
    }
    ~LogCapture() { ICLoggerModel::instance()->mpRemoveObserver(mvObserver); }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QVector<ICLoggerItem> mfItems() const
    {
        QMutexLocker lLocker(&mvObserver->mvMutex);
        return mvObserver->mvItems;
    }
    // The texts logged at that level, in order.
    QStringList mfTexts(qint32 aLevel) const
    {
        QStringList lTexts;
        for (const ICLoggerItem& lItem : mfItems()) {
            if (lItem.mfGetLevel() == aLevel)
                lTexts << lItem.mfGetText();
        }
        return lTexts;
    }
    void mpClear()
    {
        QMutexLocker lLocker(&mvObserver->mvMutex);
        mvObserver->mvItems.clear();
    }

private:
    // No Q_OBJECT needed: the slots are the base class's virtual ones.
    class Recorder : public ICLoggerObserver
    {
    public:
        explicit Recorder(qint32 aLevel) : ICLoggerObserver(aLevel, QStringLiteral("LogCapture")) {}
        void mpSlotInitialize() override {}
        void mpSlotLogEvent(const ICLoggerItem& aItem) override
        {
            if (!mfAccepts(aItem.mfGetLevel()))
                return;
            QMutexLocker lLocker(&mvMutex);
            mvItems.append(aItem);
        }
        void mpSlotFinalize() override {}

        mutable QMutex mvMutex;
        QVector<ICLoggerItem> mvItems;
    };

    Recorder* mvObserver;
};

#endif
