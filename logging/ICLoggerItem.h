#ifndef ICLOGGERITEM_H
#define ICLOGGERITEM_H

#include "ICLoggingExport.h"

#include <QDateTime>
#include <QMetaType>
#include <QSharedDataPointer>
#include <QString>

class ICLoggerItemData;

// One log record. Implicitly shared: copies are cheap and travel between
// threads through queued connections; every setter detaches first, so changing
// a copy never changes the item it was copied from.
class ICLOGGING_EXPORT ICLoggerItem
{
public:
    // Level -1, empty text and name, zero ids, invalid date-time.
    ICLoggerItem();
    ICLoggerItem(const QString& aText, const QDateTime& aDateTime, qint32 aLevel, quint64 aThreadId,
                 const QString& aThreadName, quint64 aClassId);
    ICLoggerItem(const ICLoggerItem& aOther);
    ICLoggerItem& operator=(const ICLoggerItem& aOther);
    // Moves take the shared record without touching its count: the queues an
    // item passes through grow without copying.
    ICLoggerItem(ICLoggerItem&& aOther) noexcept;
    ICLoggerItem& operator=(ICLoggerItem&& aOther) noexcept;
    ~ICLoggerItem();

    quint64 mfGetThreadId() const;
    void mpSetThreadId(quint64 aThreadId);
    quint64 mfGetClassId() const;
    void mpSetClassId(quint64 aClassId);
    qint32 mfGetLevel() const;
    void mpSetLevel(qint32 aLevel);
    QString mfGetText() const;
    void mpSetText(const QString& aText);
    QDateTime mfGetDateTime() const;
    void mpSetDateTime(const QDateTime& aDateTime);
    QString mfGetThreadName() const;
    void mpSetThreadName(const QString& aThreadName);

private:
    QSharedDataPointer<ICLoggerItemData> mvData;
};

Q_DECLARE_METATYPE(ICLoggerItem)

// The kernel id of the calling thread, as top -H and ps -L show it.
ICLOGGING_EXPORT quint64 gfCurrentThreadId();

#endif
