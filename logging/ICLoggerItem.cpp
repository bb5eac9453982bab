#include "ICLoggerItem.h"

#include <sys/syscall.h>
#include <unistd.h>

class ICLoggerItemData : public QSharedData
{
public:
    quint64 mvThreadId = 0;
    quint64 mvClassId = 0;
    qint32 mvLevel = -1;
    QString mvText;
    QDateTime mvDateTime;
    QString mvThreadName;
};

namespace {
// Registered once at load time so that the type can cross threads in queued
// connections before anybody asks for it by name.
const int sMetaTypeId = qRegisterMetaType<ICLoggerItem>("ICLoggerItem");
} // namespace

ICLoggerItem::ICLoggerItem() : mvData(new ICLoggerItemData)
{
    Q_UNUSED(sMetaTypeId);
}

ICLoggerItem::ICLoggerItem(const QString& aText, const QDateTime& aDateTime, qint32 aLevel,
                           quint64 aThreadId, const QString& aThreadName, quint64 aClassId)
    : mvData(new ICLoggerItemData)
{
    mvData->mvThreadId = aThreadId;
    mvData->mvClassId = aClassId;
    mvData->mvLevel = aLevel;
    mvData->mvText = aText;
    mvData->mvDateTime = aDateTime;
    mvData->mvThreadName = aThreadName;
}

ICLoggerItem::ICLoggerItem(const ICLoggerItem& aOther) = default;
ICLoggerItem& ICLoggerItem::operator=(const ICLoggerItem& aOther) = default;
ICLoggerItem::ICLoggerItem(ICLoggerItem&& aOther) noexcept = default;
ICLoggerItem& ICLoggerItem::operator=(ICLoggerItem&& aOther) noexcept = default;
ICLoggerItem::~ICLoggerItem() = default;

quint64 ICLoggerItem::mfGetThreadId() const
{
    return mvData->mvThreadId;
}
void ICLoggerItem::mpSetThreadId(quint64 aThreadId)
{
    mvData->mvThreadId = aThreadId;
}
quint64 ICLoggerItem::mfGetClassId() const
{
    return mvData->mvClassId;
}
void ICLoggerItem::mpSetClassId(quint64 aClassId)
{
    mvData->mvClassId = aClassId;
}
qint32 ICLoggerItem::mfGetLevel() const
{
    return mvData->mvLevel;
}
void ICLoggerItem::mpSetLevel(qint32 aLevel)
{
    mvData->mvLevel = aLevel;
}
QString ICLoggerItem::mfGetText() const
{
    return mvData->mvText;
}
void ICLoggerItem::mpSetText(const QString& aText)
{
    mvData->mvText = aText;
}
QDateTime ICLoggerItem::mfGetDateTime() const
{
    return mvData->mvDateTime;
}
void ICLoggerItem::mpSetDateTime(const QDateTime& aDateTime)
{
    mvData->mvDateTime = aDateTime;
}
QString ICLoggerItem::mfGetThreadName() const
{
    return mvData->mvThreadName;
}
void ICLoggerItem::mpSetThreadName(const QString& aThreadName)
{
    mvData->mvThreadName = aThreadName;
}

quint64 gfCurrentThreadId()
{
    // The system call costs far more than a thread-local read, and a thread's
    // id never changes.
    thread_local const quint64 tThreadId = static_cast<quint64>(::syscall(SYS_gettid));
    return tThreadId;
}
