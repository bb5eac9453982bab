#include "ICLoggerItem.h"

#include <QTest>
#include <QVariant>

#include <functional>

class tst_LoggerItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Items are shared between observers: a change to one copy, made through
    // any setter, never shows in another.
    void copyOnWrite()
    {
        const ICLoggerItem lOriginal("original", QDateTime(QDate(2026, 11, 15), QTime(14, 0)), 2, 5,
                                     "main", 9);
        auto lFields = [](const ICLoggerItem& aItem) {
            return QVariantList{aItem.mfGetText(),       aItem.mfGetDateTime(),
                                aItem.mfGetLevel(),      aItem.mfGetThreadId(),
                                aItem.mfGetThreadName(), aItem.mfGetClassId()};
        };
        const QVariantList lUnchanged = lFields(lOriginal);
        const std::function<void(ICLoggerItem&)> lSetters[] = {
            [](ICLoggerItem& aItem) { aItem.mpSetText("changed"); },
            [](ICLoggerItem& aItem) { aItem.mpSetDateTime(QDateTime()); },
            [](ICLoggerItem& aItem) { aItem.mpSetLevel(5); },
            [](ICLoggerItem& aItem) { aItem.mpSetThreadId(6); },
            [](ICLoggerItem& aItem) { aItem.mpSetThreadName("other"); },
            [](ICLoggerItem& aItem) { aItem.mpSetClassId(10); }};
        for (const auto& lSet : lSetters) {
            ICLoggerItem lCopy(lOriginal);
            ICLoggerItem lAssigned;
            lAssigned = lOriginal;
            lSet(lCopy);
            lSet(lAssigned);
            QVERIFY(lFields(lCopy) != lUnchanged);
            QCOMPARE(lFields(lAssigned), lFields(lCopy));
            QCOMPARE(lFields(lOriginal), lUnchanged);
        }
        // Queued connections carry items by their registered name.
        QCOMPARE(QMetaType::fromName("ICLoggerItem").id(), qMetaTypeId<ICLoggerItem>());
        QCOMPARE(lFields(QVariant::fromValue(lOriginal).value<ICLoggerItem>()), lUnchanged);
    }
};

QTEST_GUILESS_MAIN(tst_LoggerItem)
#include "tst_loggeritem.moc"
