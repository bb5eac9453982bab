#include "ICLoggerFile.h"
#include "ICLoggerModel.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <map>
#include <thread>
#include <vector>

class tst_LoggerFileLoad : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void everyItemOnceWhileRotating();
};

void tst_LoggerFileLoad::initTestCase()
{
    // Short lines keep the copying of a few dozen rotations cheap.
    qputenv("IC_SIMPLE_LOGGING", "1");
}

void tst_LoggerFileLoad::everyItemOnceWhileRotating()
{
    const int lThreads = 4;
    const int lItemsPerThread = 50000;
    const qint32 lMaxBackups = 400;
    QTemporaryDir lDirectory;
    QVERIFY(lDirectory.isValid());
    ICLoggerModel* lModel = ICLoggerModel::instance(QStringLiteral("load"));
    lModel->mpAddObserver(new ICLoggerFile(lDirectory.filePath(QStringLiteral("load.log")), Debug,
                                           64, lMaxBackups, false),
                          true);

    std::vector<std::thread> lWorkers;
    for (int t = 0; t < lThreads; ++t)
        lWorkers.emplace_back([lModel, t] {
            for (int i = 0; i < lItemsPerThread; ++i)
                lModel->mpLog(Info, QStringLiteral("t%1 %2").arg(t).arg(i));
        });
    for (std::thread& lWorker : lWorkers)
        lWorker.join();
    lModel->mpRemoveObserver();

    // Oldest first: the highest backup number down to 1, then the file itself.
    QStringList lFiles;
    for (qint32 n = lMaxBackups; n >= 1; --n) {
        const QString lBackup = lDirectory.filePath(QStringLiteral("load_%1.log").arg(n));
        if (QFile::exists(lBackup))
            lFiles << lBackup;
        else
            QVERIFY2(lFiles.isEmpty(), "a gap in the backup numbers");
    }
    QVERIFY2(lFiles.size() > 10, "the test did not make the file rotate");
    QVERIFY2(!lFiles.first().endsWith(QStringLiteral("_%1.log").arg(lMaxBackups)),
             "backups may have been dropped");
    lFiles << lDirectory.filePath(QStringLiteral("load.log"));

    const QRegularExpression lHeader(QStringLiteral("^===== Log format: 2\\.0 Log file started on "
                                                    "\\d\\d\\.\\d\\d\\.\\d{4} \\d\\d:\\d\\d:\\d\\d "
                                                    "=====$"));
    const QRegularExpression lItem(QStringLiteral("^Info\\t: t(\\d) (\\d+)$"));
    const QStringList lNotice = {"Status:\t------------------------------------------------",
                                 "Status:\tMaximum file size reached (64 kB)."};
    std::map<int, int> lNext;
    for (const QString& lPath : lFiles) {
        QFile lFile(lPath);
        QVERIFY(lFile.open(QIODevice::ReadOnly));
        const QByteArray lContent = lFile.readAll();
        QVERIFY(lContent.endsWith('\n'));
        QStringList lLines = QString::fromUtf8(lContent).split(QLatin1Char('\n'));
        lLines.removeLast();
        QVERIFY2(lHeader.match(lLines.value(0)).hasMatch(), qPrintable(lPath));
        lLines.removeFirst();
        if (lPath != lFiles.last()) {
            QCOMPARE(lLines.mid(lLines.size() - 2), lNotice);
            lLines.resize(lLines.size() - 2);
            // Never more than one line past the limit before the notice.
            QVERIFY(lContent.size() - lNotice.join('\n').size() - 1 <= 64 * 1024 + 20);
        }
        for (const QString& lLine : lLines) {
            const QRegularExpressionMatch lMatch = lItem.match(lLine);
            QVERIFY2(lMatch.hasMatch(), qPrintable(lLine));
            const int lThread = lMatch.captured(1).toInt();
            // In order per thread, each exactly once.
            QCOMPARE(lMatch.captured(2).toInt(), lNext[lThread]++);
        }
    }
    QCOMPARE(int(lNext.size()), lThreads);
    for (const auto& [lThread, lCount] : lNext)
        QCOMPARE(lCount, lItemsPerThread);
}

QTEST_GUILESS_MAIN(tst_LoggerFileLoad)
#include "tst_loggerfileload.moc"
