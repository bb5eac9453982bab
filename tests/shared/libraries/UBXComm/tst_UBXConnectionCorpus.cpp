#include "ConnectionFuzzInput.h"

#include <QDir>
#include <QFile>
#include <QTest>

// Replays the fuzz corpus, crashes found by fuzzing included, through the
// same entry function as the fuzz target.
class tst_UBXConnectionCorpus : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void everyInputKeepsTheConnectionsRules()
    {
        const QDir lCorpus(QStringLiteral(UBXCOMM_FUZZ_CORPUS));
        const QStringList lInputs = lCorpus.entryList(QDir::Files, QDir::Name);
        QVERIFY(!lInputs.isEmpty());
        for (const QString& lInput : lInputs) {
            QFile lFile(lCorpus.filePath(lInput));
            QVERIFY2(lFile.open(QIODevice::ReadOnly), qPrintable(lInput));
            const QByteArray lData = lFile.readAll();
            QVERIFY2(gfFeedConnection(reinterpret_cast<const uint8_t*>(lData.constData()),
                                      static_cast<size_t>(lData.size())),
                     qPrintable(lInput));
        }
    }
};

QTEST_GUILESS_MAIN(tst_UBXConnectionCorpus)
#include "tst_UBXConnectionCorpus.moc"
