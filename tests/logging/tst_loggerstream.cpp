#include "ICLoggerModel.h"
#include "ICLoggerStream.h"
#include "RecordingObserver.h"

#include <QSignalSpy>
#include <QTest>

class tst_LoggerStream : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void init();
    void insertionsMakeOneItem();
    void emptyStreamStillLogs();
    void nullModelDropsText();
    void wideStrings();
    void copyStartsWithTheOthersText();

private:
    ICLoggerModel* mvModel = nullptr;
    std::shared_ptr<ObserverRecord> mvRecord;
};

void tst_LoggerStream::initTestCase()
{
    mvModel = ICLoggerModel::instance(QStringLiteral("stream"));
    mvRecord = std::make_shared<ObserverRecord>();
    mvModel->mpAddObserver(new RecordingObserver(Debug, QStringLiteral("recorder"), mvRecord),
                           false);
}

void tst_LoggerStream::init()
{
    QMutexLocker lLocker(&mvRecord->mvMutex);
    mvRecord->mvItems.clear();
}

void tst_LoggerStream::insertionsMakeOneItem()
{
    {
        ICLoggerStream lStream(mvModel, Warn, 0x42);
        lStream << "took " << 17 << " ms, " << 2.5 << QStringLiteral(" ratio");
        QCOMPARE(mvRecord->mfCount(), 0);
    }
    const QList<ICLoggerItem> lItems = mvRecord->mfItems();
    QCOMPARE(lItems.size(), 1);
    QCOMPARE(lItems[0].mfGetText(), QStringLiteral("took 17 ms, 2.5 ratio"));
    QCOMPARE(lItems[0].mfGetLevel(), qint32(Warn));
    QCOMPARE(lItems[0].mfGetClassId(), quint64(0x42));
}

void tst_LoggerStream::emptyStreamStillLogs()
{
    {
        ICLoggerStream lStream(mvModel, Info);
    }
    const QList<ICLoggerItem> lItems = mvRecord->mfItems();
    QCOMPARE(lItems.size(), 1);
    QVERIFY(lItems[0].mfGetText().isEmpty());
    QCOMPARE(lItems[0].mfGetLevel(), qint32(Info));
}

void tst_LoggerStream::nullModelDropsText()
{
    QSignalSpy lSpy(mvModel, &ICLoggerModel::mpSignalLogItem);
    {
        ICLoggerStream lStream(nullptr, Fatal);
        lStream << "nobody hears this";
    }
    QCOMPARE(lSpy.count(), 0);
    QCOMPARE(mvRecord->mfCount(), 0);
}

void tst_LoggerStream::wideStrings()
{
    {
        ICLoggerStream lStream(mvModel, Info);
        lStream << L"Gr\u00fc\u00dfe " << std::wstring(L"\u6771\u4eac");
    }
    const QList<ICLoggerItem> lItems = mvRecord->mfItems();
    QCOMPARE(lItems.size(), 1);
    QCOMPARE(lItems[0].mfGetText(), QString::fromUtf8("Grüße 東京"));
}

void tst_LoggerStream::copyStartsWithTheOthersText()
{
    {
        ICLoggerStream lFirst(mvModel, Error, 7);
        lFirst << "shared ";
        ICLoggerStream lSecond(lFirst);
        lSecond << "second";
        lFirst << "first";
    }
    const QList<ICLoggerItem> lItems = mvRecord->mfItems();
    QCOMPARE(lItems.size(), 2);
    // Destroyed in reverse order of construction.
    QCOMPARE(lItems[0].mfGetText(), QStringLiteral("shared second"));
    QCOMPARE(lItems[1].mfGetText(), QStringLiteral("shared first"));
    for (const ICLoggerItem& lItem : lItems) {
        QCOMPARE(lItem.mfGetLevel(), qint32(Error));
        QCOMPARE(lItem.mfGetClassId(), quint64(7));
    }
}

QTEST_GUILESS_MAIN(tst_LoggerStream)
#include "tst_loggerstream.moc"
