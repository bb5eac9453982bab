#include "ConnectionFuzzInput.h"
#include "HybridCodecFuzzInput.h"
#include "ImageSequenceFuzzInput.h"
#include "JsonFuzzInput.h"
#include "MessageStreamFuzzInput.h"
#include "OverlayFuzzInput.h"

#include <QDir>
#include <QFile>
#include <QTest>

using FeedFunction = bool (*)(const uint8_t*, size_t);
Q_DECLARE_METATYPE(FeedFunction)

// Replays each fuzz target's corpus, crashes found by fuzzing included,
// through the same entry function as the target.
class tst_FuzzCorpus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyInputKeepsTheRules_data()
    {
        QTest::addColumn<QString>("target");
        QTest::addColumn<FeedFunction>("feed");
        QTest::newRow("message stream") << "fuzz_UBXMessageStream" << &gfFeedMessageStream;
        QTest::newRow("block connection") << "fuzz_UBXConnection" << &gfFeedConnection;
        QTest::newRow("hybrid codec") << "fuzz_UBXHybridCodec" << &gfDecodeHybridStream;
        QTest::newRow("JSON") << "fuzz_UBXJson" << &gfCheckJsonInput;
        QTest::newRow("overlay") << "fuzz_UBXOverlay" << &gfFeedOverlay;
        QTest::newRow("image sequence") << "fuzz_ImageSequence" << &gfFeedImageSequence;
    }
    void everyInputKeepsTheRules()
    {
        QFETCH(QString, target);
        QFETCH(FeedFunction, feed);
        const QDir lCorpus(QStringLiteral(FUZZ_CORPUS) + QLatin1Char('/') + target);
        const QStringList lInputs = lCorpus.entryList(QDir::Files, QDir::Name);
        QVERIFY(!lInputs.isEmpty());
        for (const QString& lInput : lInputs) {
            QFile lFile(lCorpus.filePath(lInput));
            QVERIFY2(lFile.open(QIODevice::ReadOnly), qPrintable(lInput));
            const QByteArray lData = lFile.readAll();
            QVERIFY2(feed(reinterpret_cast<const uint8_t*>(lData.constData()),
                          static_cast<size_t>(lData.size())),
                     qPrintable(lInput));
        }
    }
};

QTEST_MAIN(tst_FuzzCorpus) // the overlay paints text
#include "tst_FuzzCorpus.moc"
