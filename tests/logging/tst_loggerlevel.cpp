#include "ICLoggerLevel.h"

#include <QTest>

class tst_LoggerLevel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void fromName_data();
    void fromName();
    void toName_data();
    void toName();
    void displayName_data();
    void displayName();
    void namesRoundTrip();
};

void tst_LoggerLevel::fromName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<qint32>("level");
    QTest::newRow("status") << "status" << qint32(Status);
    QTest::newRow("debug upper") << "DEBUG" << qint32(Debug);
    QTest::newRow("diag") << "diag" << qint32(Diag);
    QTest::newRow("info mixed") << "iNfO" << qint32(Info);
    QTest::newRow("WARN") << "WARN" << qint32(Warn);
    QTest::newRow("Warn") << "Warn" << qint32(Warn);
    QTest::newRow("fatal") << "fatal" << qint32(Fatal);
    // Unknown words fall back to Error so that callers always get a usable level.
    QTest::newRow("unknown word") << "verbose" << qint32(Error);
    QTest::newRow("empty") << "" << qint32(Error);
    QTest::newRow("null") << QString() << qint32(Error);
    QTest::newRow("padded") << " info" << qint32(Error);
    QTest::newRow("prefix") << "warning" << qint32(Error);
}

void tst_LoggerLevel::fromName()
{
    QFETCH(QString, name);
    QFETCH(qint32, level);
    QCOMPARE(gfLevelFromName(name), level);
}

void tst_LoggerLevel::toName_data()
{
    QTest::addColumn<qint32>("level");
    QTest::addColumn<QString>("name");
    QTest::newRow("-1") << -1 << "status";
    QTest::newRow("0") << 0 << "debug";
    QTest::newRow("1") << 1 << "diag";
    QTest::newRow("2") << 2 << "info";
    QTest::newRow("3") << 3 << "warn";
    QTest::newRow("4") << 4 << "error";
    QTest::newRow("5") << 5 << "fatal";
    QTest::newRow("6") << 6 << "error";
    QTest::newRow("-2") << -2 << "error";
    QTest::newRow("min") << std::numeric_limits<qint32>::min() << "error";
    QTest::newRow("max") << std::numeric_limits<qint32>::max() << "error";
}

void tst_LoggerLevel::toName()
{
    QFETCH(qint32, level);
    QFETCH(QString, name);
    QCOMPARE(gfLevelToName(level), name);
}

void tst_LoggerLevel::displayName_data()
{
    QTest::addColumn<qint32>("level");
    QTest::addColumn<QString>("name");
    QTest::newRow("-1") << -1 << "Status";
    QTest::newRow("0") << 0 << "Debug";
    QTest::newRow("1") << 1 << "Diag";
    QTest::newRow("2") << 2 << "Info";
    QTest::newRow("3") << 3 << "Warn";
    QTest::newRow("4") << 4 << "Error";
    QTest::newRow("5") << 5 << "Fatal";
    QTest::newRow("6") << 6 << "Unknown";
    QTest::newRow("-2") << -2 << "Unknown";
}

void tst_LoggerLevel::displayName()
{
    QFETCH(qint32, level);
    QFETCH(QString, name);
    QCOMPARE(gfLevelDisplayName(level), name);
}

void tst_LoggerLevel::namesRoundTrip()
{
    for (qint32 lLevel = Status; lLevel <= Fatal; ++lLevel) {
        QCOMPARE(gfLevelFromName(gfLevelToName(lLevel)), lLevel);
        QCOMPARE(gfLevelFromName(gfLevelDisplayName(lLevel)), lLevel);
    }
}

QTEST_GUILESS_MAIN(tst_LoggerLevel)
#include "tst_loggerlevel.moc"
