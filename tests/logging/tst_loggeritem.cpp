#include "ICLoggerItem.h"

#include <QTest>
#include <QVariant>

#include <functional>

class tst_LoggerItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void copyOnWrite();
    void registeredForQueuedConnections();
};

void tst_LoggerItem::copyOnWrite()
{
    QCOMPARE(ICLoggerItem().mfGetLevel(), -1);
    const QDateTime lStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
    ICLoggerItem lOriginal(QStringLiteral("original"), lStamp, 2, 5, QStringLiteral("main"), 9);
    auto lFields = [](const ICLoggerItem& aItem) {
        return QVariantList{aItem.mfGetText(),     aItem.mfGetDateTime(),   aItem.mfGetLevel(),
                            aItem.mfGetThreadId(), aItem.mfGetThreadName(), aItem.mfGetClassId()};
    };
    const QVariantList lUnchanged = lFields(lOriginal);

    // Every setter must detach on its own: each one gets a fresh copy.
    const std::function<void(ICLoggerItem&)> lSetters[] = {
        [](ICLoggerItem& aItem) { aItem.mpSetText(QStringLiteral("changed")); },
        [&lStamp](ICLoggerItem& aItem) { aItem.mpSetDateTime(lStamp.addDays(1)); },
        [](ICLoggerItem& aItem) { aItem.mpSetLevel(5); },
        [](ICLoggerItem& aItem) { aItem.mpSetThreadId(6); },
        [](ICLoggerItem& aItem) { aItem.mpSetThreadName(QStringLiteral("other")); },
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
    // And the other way round.
    const ICLoggerItem lSnapshot(lOriginal);
    lOriginal.mpSetText(QStringLiteral("later"));
    QCOMPARE(lFields(lSnapshot), lUnchanged);
}

void tst_LoggerItem::registeredForQueuedConnections()
{
    QCOMPARE(QMetaType::fromName("ICLoggerItem").id(), qMetaTypeId<ICLoggerItem>());
    const ICLoggerItem lItem(QStringLiteral("via variant"), QDateTime(), 1, 2, QString(), 3);
    QCOMPARE(QVariant::fromValue(lItem).value<ICLoggerItem>().mfGetText(), lItem.mfGetText());
}

QTEST_GUILESS_MAIN(tst_LoggerItem)
#include "tst_loggeritem.moc"
