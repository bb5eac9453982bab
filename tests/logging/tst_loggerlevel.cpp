#include "ICLoggerLevel.h"

#include <QTest>

class tst_LoggerLevel : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void names()
    {
        for (qint32 lLevel = Status; lLevel <= Fatal; ++lLevel) {
            QCOMPARE(gfLevelFromName(gfLevelToName(lLevel)), lLevel);
            QCOMPARE(gfLevelFromName(gfLevelDisplayName(lLevel)), lLevel);
        }
        QCOMPARE(gfLevelFromName("WARN"), qint32(Warn));
        // Anything else gives Error, so that callers always get a usable level.
        for (const char* lOther : {"verbose", "warning", " info", ""})
            QCOMPARE(gfLevelFromName(lOther), qint32(Error));
        QCOMPARE(gfLevelToName(-1), QStringLiteral("status"));
        QCOMPARE(gfLevelToName(6), QStringLiteral("error"));
        QCOMPARE(gfLevelToName(-2), QStringLiteral("error"));
        QCOMPARE(gfLevelDisplayName(1), QStringLiteral("Diag"));
        QCOMPARE(gfLevelDisplayName(6), QStringLiteral("Unknown"));
        QCOMPARE(gfLevelDisplayName(-2), QStringLiteral("Unknown"));
    }
};

QTEST_GUILESS_MAIN(tst_LoggerLevel)
#include "tst_loggerlevel.moc"
