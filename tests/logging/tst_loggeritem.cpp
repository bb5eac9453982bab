#include "ICLoggerItem.h"

#include <QTest>
#include <QVariant>

#include <thread>

class tst_LoggerItem : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void defaults();
    void constructorKeepsEveryField();
    void copyOnWrite();
    void travelsThroughQVariant();
    void threadIdIsKernelTid();
};

void tst_LoggerItem::defaults()
{
    const ICLoggerItem lItem;
    QCOMPARE(lItem.mfGetLevel(), -1);
    QCOMPARE(lItem.mfGetThreadId(), quint64(0));
    QCOMPARE(lItem.mfGetClassId(), quint64(0));
    QVERIFY(lItem.mfGetText().isEmpty());
    QVERIFY(lItem.mfGetThreadName().isEmpty());
    QVERIFY(!lItem.mfGetDateTime().isValid());
}

void tst_LoggerItem::constructorKeepsEveryField()
{
    const QDateTime lStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
    const ICLoggerItem lItem(QStringLiteral("text"), lStamp, 3, 77, QStringLiteral("worker"),
                             0xdeadbeefcafeULL);
    QCOMPARE(lItem.mfGetText(), QStringLiteral("text"));
    QCOMPARE(lItem.mfGetDateTime(), lStamp);
    QCOMPARE(lItem.mfGetLevel(), 3);
    QCOMPARE(lItem.mfGetThreadId(), quint64(77));
    QCOMPARE(lItem.mfGetThreadName(), QStringLiteral("worker"));
    QCOMPARE(lItem.mfGetClassId(), quint64(0xdeadbeefcafeULL));
}

void tst_LoggerItem::copyOnWrite()
{
    const QDateTime lStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
    ICLoggerItem lOriginal(QStringLiteral("original"), lStamp, 2, 5, QStringLiteral("main"), 9);

    // Every setter must detach, not only the first one used on a copy.
    ICLoggerItem lCopy(lOriginal);
    lCopy.mpSetText(QStringLiteral("changed"));
    lCopy.mpSetLevel(5);
    lCopy.mpSetThreadId(6);
    lCopy.mpSetThreadName(QStringLiteral("other"));
    lCopy.mpSetClassId(10);
    lCopy.mpSetDateTime(lStamp.addDays(1));

    ICLoggerItem lAssigned;
    lAssigned = lOriginal;
    lAssigned.mpSetLevel(4);

    QCOMPARE(lOriginal.mfGetText(), QStringLiteral("original"));
    QCOMPARE(lOriginal.mfGetLevel(), 2);
    QCOMPARE(lOriginal.mfGetThreadId(), quint64(5));
    QCOMPARE(lOriginal.mfGetThreadName(), QStringLiteral("main"));
    QCOMPARE(lOriginal.mfGetClassId(), quint64(9));
    QCOMPARE(lOriginal.mfGetDateTime(), lStamp);
    QCOMPARE(lCopy.mfGetText(), QStringLiteral("changed"));
    QCOMPARE(lCopy.mfGetLevel(), 5);
    QCOMPARE(lCopy.mfGetThreadId(), quint64(6));
    QCOMPARE(lCopy.mfGetThreadName(), QStringLiteral("other"));
    QCOMPARE(lCopy.mfGetClassId(), quint64(10));
    QCOMPARE(lCopy.mfGetDateTime(), lStamp.addDays(1));
    QCOMPARE(lAssigned.mfGetLevel(), 4);
    QCOMPARE(lAssigned.mfGetText(), QStringLiteral("original"));

    // And the other way round: changing the original leaves copies alone.
    const ICLoggerItem lSnapshot(lOriginal);
    lOriginal.mpSetText(QStringLiteral("later"));
    QCOMPARE(lSnapshot.mfGetText(), QStringLiteral("original"));
}

void tst_LoggerItem::travelsThroughQVariant()
{
    // Queued connections carry the item by its registered meta-type name.
    const int lTypeId = QMetaType::fromName("ICLoggerItem").id();
    QVERIFY(lTypeId != QMetaType::UnknownType);
    QCOMPARE(lTypeId, qMetaTypeId<ICLoggerItem>());
    const ICLoggerItem lItem(QStringLiteral("via variant"), QDateTime(), 1, 2, QString(), 3);
    const QVariant lVariant = QVariant::fromValue(lItem);
    QCOMPARE(lVariant.value<ICLoggerItem>().mfGetText(), QStringLiteral("via variant"));
    QCOMPARE(lVariant.value<ICLoggerItem>().mfGetClassId(), quint64(3));
}

void tst_LoggerItem::threadIdIsKernelTid()
{
    const quint64 lMain = gfCurrentThreadId();
    QCOMPARE(lMain, quint64(QCoreApplication::applicationPid()));
    quint64 lOther = 0;
    std::thread([&lOther] { lOther = gfCurrentThreadId(); }).join();
    QVERIFY(lOther != 0);
    QVERIFY(lOther != lMain);
}

QTEST_GUILESS_MAIN(tst_LoggerItem)
#include "tst_loggeritem.moc"
