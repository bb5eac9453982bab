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
        // Out of range: "error" to read back, "Unknown" to show.
        QCOMPARE(QStringList({gfLevelToName(-1), gfLevelDisplayName(1), gfLevelToName(6),
                              gfLevelDisplayName(6), gfLevelToName(-2), gfLevelDisplayName(-2)}),
                 QStringList({"status", "Diag", "error", "Unknown", "error", "Unknown"}));
    }
};

QTEST_GUILESS_MAIN(tst_LoggerLevel)
#include "tst_loggerlevel.moc"
