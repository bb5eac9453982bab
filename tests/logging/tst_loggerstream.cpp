#include "ICLoggerModel.h"
#include "ICLoggerStream.h"

#include <QSignalSpy>
#include <QTest>

// A model without observers emits Fatal and Status items only: enough to see
// what a stream hands over.
class tst_LoggerStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void oneItemPerStream()
    {
        ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("stream"));
        QSignalSpy lSpy(lModel, &ICLoggerModel::mpSignalLogItem);
        QSignalSpy lDefault(ICLoggerModel::instance(), &ICLoggerModel::mpSignalLogItem);
        {
            ICLoggerStream lStream(lModel, Fatal, 0x42);
            lStream << "took " << 17 << " ms, " << 2.5 << L" \u00fc" << std::wstring(L"\u6771");
            QCOMPARE(lSpy.count(), 0);
            ICLoggerStream(lModel, Status);
            ICLoggerStream(nullptr, Fatal) << "nobody hears this";
        }
        QCOMPARE(lSpy.count(), 2);
        QCOMPARE(lDefault.count(), 0);
        const ICLoggerItem lEmpty = lSpy[0][0].value<ICLoggerItem>();
        QVERIFY(lEmpty.mfGetText().isEmpty());
        QCOMPARE(lEmpty.mfGetLevel(), qint32(Status));
        const ICLoggerItem lItem = lSpy[1][0].value<ICLoggerItem>();
        QCOMPARE(lItem.mfGetText(), QString::fromUtf8("took 17 ms, 2.5 ü東"));
        QCOMPARE(lItem.mfGetLevel(), qint32(Fatal));
        QCOMPARE(lItem.mfGetClassId(), quint64(0x42));
    }
};

QTEST_GUILESS_MAIN(tst_LoggerStream)
#include "tst_loggerstream.moc"
