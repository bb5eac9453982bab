#include "ICConsoleLogger.h"

#include <QTest>

class tst_ConsoleLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void lineFormat_data()
    {
        QTest::addColumn<qint32>("level");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("line");
        const QByteArray lStamp = "\t2026-11-15T14:12:10:123\t";
        QTest::newRow("status") << -1 << "banner"
                                << "Unknown" + lStamp + "banner";
        QTest::newRow("debug") << 0 << "debug"
                               << "Debug" + lStamp + "debug";
        QTest::newRow("diag") << 1 << "diag"
                              << "Unknown" + lStamp + "diag";
        QTest::newRow("info, Latin-1") << 2 << QString::fromUtf8("Grüße aus 東京 €")
                                       << "Info" + lStamp + "Gr\xfc\xdf" + "e aus ?? ?";
        QTest::newRow("warn") << 3 << ""
                              << "Warning" + lStamp;
        QTest::newRow("error") << 4 << "error"
                               << "Error" + lStamp + "error";
        QTest::newRow("fatal") << 5 << "fatal"
                               << "Critical" + lStamp + "fatal";
        QTest::newRow("above fatal") << 6 << "six"
                                     << "Unknown" + lStamp + "six";
        QTest::newRow("below status") << -2 << "low" << QByteArray();
    }

    void lineFormat()
    {
        QFETCH(qint32, level);
        QFETCH(QString, text);
        QFETCH(QByteArray, line);
        const ICLoggerItem lItem(text, QDateTime(QDate(2026, 11, 15), QTime(14, 12, 10, 123)),
                                 level, 1, QString(), 0);
        ICConsoleLogger lLogger;
        // Error until told otherwise; Status always passes.
        QCOMPARE(lLogger.mfFormat(lItem), level == Status || level >= Error ? line : QByteArray());
        lLogger.mpSetLevel(Debug);
        QCOMPARE(lLogger.mfFormat(lItem), line);
    }
};

QTEST_GUILESS_MAIN(tst_ConsoleLogger)
#include "tst_consolelogger.moc"
