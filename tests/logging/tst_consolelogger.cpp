#include "ICConsoleLogger.h"

#include <QTest>

class tst_ConsoleLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    // Rows: level, text, and the line's prefix ("" when nothing is written).
    void lineFormat_data()
    {
        QTest::addColumn<qint32>("level");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QByteArray>("prefix");
        const QList<std::tuple<qint32, const char*, const char*>> lRows{
            {-1, "banner", "Unknown"}, {0, "debug", "Debug"}, {1, "diag", "Unknown"},
            {3, "", "Warning"},        {4, "error", "Error"}, {5, "fatal", "Critical"},
            {6, "six", "Unknown"},     {-2, "low", ""}};
        for (const auto& [lLevel, lText, lPrefix] : lRows)
            QTest::addRow("%d", lLevel) << lLevel << QString(lText) << QByteArray(lPrefix);
        QTest::newRow("info, Latin-1")
            << 2 << QString::fromUtf8("Grüße aus 東京 €") << QByteArray("Info");
    }

    void lineFormat()
    {
        QFETCH(qint32, level);
        QFETCH(QString, text);
        QFETCH(QByteArray, prefix);
        const QByteArray lLine =
            prefix.isEmpty() ? prefix : prefix + "\t2026-11-15T14:12:10:123\t" + text.toLatin1();
        const ICLoggerItem lItem(text, QDateTime(QDate(2026, 11, 15), QTime(14, 12, 10, 123)),
                                 level, 1, QString(), 0);
        ICConsoleLogger lLogger;
        // Error until told otherwise; Status always passes.
        QCOMPARE(lLogger.mfFormat(lItem), level == Status || level >= Error ? lLine : QByteArray());
        lLogger.mpSetLevel(Debug);
        QCOMPARE(lLogger.mfFormat(lItem), lLine);
    }
};

QTEST_GUILESS_MAIN(tst_ConsoleLogger)
#include "tst_consolelogger.moc"
