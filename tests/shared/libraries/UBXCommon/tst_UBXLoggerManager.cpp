#include "ICLoggerModel.h"
#include "LogCapture.h"
#include "UBXLoggerManager.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <unistd.h>

namespace {
// Collects what the code under test writes to standard output.
class StdoutCapture
{
public:
    StdoutCapture() : mvSaved(::dup(STDOUT_FILENO))
    {
        std::fflush(stdout);
        mvFile = std::tmpfile();
        ::dup2(::fileno(mvFile), STDOUT_FILENO);
    }
    ~StdoutCapture() { mfText(); }
    QByteArray mfText()
    {
        if (mvSaved < 0)
            return mvText;
        std::fflush(stdout);
        ::dup2(mvSaved, STDOUT_FILENO);
        ::close(mvSaved);
        mvSaved = -1;
        std::rewind(mvFile);
        char lBuffer[4096];
        size_t lRead;
        while ((lRead = std::fread(lBuffer, 1, sizeof lBuffer, mvFile)) > 0)
            mvText.append(lBuffer, static_cast<int>(lRead));
        std::fclose(mvFile);
        return mvText;
    }

private:
    int mvSaved;
    FILE* mvFile;
    QByteArray mvText;
};
} // namespace

class tst_UBXLoggerManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init()
    {
        QVERIFY(mvDirectory.isValid());
        QVERIFY(QDir::setCurrent(mvDirectory.path()));
    }

    void withoutSwitchesNothingIsEnabledOrPrinted()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager({QStringLiteral("launcher"), QStringLiteral("-other")});
        QCOMPARE(lOutput.mfText(), QByteArray());
        QCOMPARE(lManager.mfGetLevel(), 2);
        QVERIFY(!lManager.mfIsLoggingEnabled());
        QVERIFY(!lManager.mfIsConsoleLogging());
        QVERIFY(!lManager.mfIsSysLogging());
        QString lName;
        QVERIFY(!lManager.mfGetLogFileName(lName));
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 5);
    }

    void switchMessagesKeepTheirLineEnds()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager({QStringLiteral("-debuglogging"), QStringLiteral("-filelogging"),
                                   QStringLiteral("-logfile"), QStringLiteral("a.log"),
                                   QStringLiteral("-consolelogging"),
                                   QStringLiteral("-syslogging")});
        QCOMPARE(lOutput.mfText(),
                 QByteArray("The 'debuglogging' command line parameter was passed.\n"
                            "The 'filelogging' command line parameter was passed.\n"
                            "The 'logfile' command line parameter was passed."
                            "The 'consolelogging' command line parameter was passed."
                            "The 'syslogging' command line parameter was passed."));
        QVERIFY(lManager.mfIsConsoleLogging());
        QVERIFY(lManager.mfIsSysLogging());
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 0);
    }

    void logFileNameIsTakenInEitherOrder_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("switch first") << QStringList{"-filelogging", "-logfile", "run.log"};
        QTest::newRow("name first") << QStringList{"-logfile", "run.log", "-filelogging"};
    }

    void logFileNameIsTakenInEitherOrder()
    {
        QFETCH(QStringList, arguments);
        StdoutCapture lOutput;
        {
            UBXLoggerManager lManager(arguments);
            QString lName;
            QVERIFY(lManager.mfGetLogFileName(lName));
            QCOMPARE(lName, QStringLiteral("run.log"));
            ICLoggerModel::instance()->mpLog(Info, QStringLiteral("into run.log"), 0);
        }
        QFile lFile(QStringLiteral("run.log"));
        QVERIFY(lFile.open(QIODevice::ReadOnly));
        const QByteArray lContent = lFile.readAll();
        QVERIFY2(lContent.startsWith("===== Log format: 2.0 Log file started on "),
                 lContent.constData());
        QVERIFY2(lContent.contains("\t: into run.log\n"), lContent.constData());
        QVERIFY(!QFile::exists(QStringLiteral("baseunit.txt")));
        QVERIFY(QFile::remove(QStringLiteral("run.log")));
    }

    void logFileSwitchAsLastArgumentKeepsTheDefaultName()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager({QStringLiteral("-filelogging"), QStringLiteral("-logfile")});
        QCOMPARE(lOutput.mfText(),
                 QByteArray("The 'filelogging' command line parameter was passed.\n"
                            "The 'logfile' command line parameter was passed."
                            "ERROR: Too few arguments while defining log file name\n"));
        QString lName;
        QVERIFY(lManager.mfGetLogFileName(lName));
        QCOMPARE(lName, QStringLiteral("baseunit.txt"));
        QVERIFY(QFile::exists(QStringLiteral("baseunit.txt")));
        lManager.mpDisableFileLogging();
        QVERIFY(QFile::remove(QStringLiteral("baseunit.txt")));
    }

    void levelSwitchAppliesToSinksNamedBeforeIt()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager(
            {QStringLiteral("-consolelogging"), QStringLiteral("-debuglogging")});
        QCOMPARE(lManager.mfGetLevel(), 0);
        QVERIFY(ICLoggerModel::instance()->mfIsDebugEnabled());
    }

    void levelChangesReachEverySinkAndDisabledSinksAreForgotten()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager(
            {QStringLiteral("-consolelogging"), QStringLiteral("-syslogging")});
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 2);
        // Enabling again replaces the sink rather than adding a second one.
        lManager.mpEnableConsoleLogging();
        lManager.mpDisableSysLogging();
        QVERIFY(!lManager.mfIsSysLogging());
        QVERIFY(lManager.mfIsLoggingEnabled());
        // Walks the remaining sinks only; a destroyed one would be touched here.
        lManager.mpSetLevel(Warn);
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 3);
        lManager.mpSetLevel(Debug);
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 0);
        lManager.mpDisableConsoleLogging();
        QVERIFY(!lManager.mfIsLoggingEnabled());
        QCOMPARE(ICLoggerModel::instance()->mfGetThreshold(), 5);
    }

    void qtMessagesBecomeLogItems()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager({});
        LogCapture lLog(Debug);
        qDebug("plain %d", 1);
        qWarning("careful");
        qCritical("broken");
        qWarning("QGLShader::link: failed");
        qInfo("informational");
        QCOMPARE(lLog.mfCount(QStringLiteral("[Qt] plain 1"), Debug), 1);
        QCOMPARE(lLog.mfCount(QStringLiteral("[Qt] careful"), Warn), 1);
        QCOMPARE(lLog.mfCount(QStringLiteral("[Qt] broken"), Fatal), 1);
        QCOMPARE(lLog.mfItems().size(), 3);
    }

private:
    QTemporaryDir mvDirectory;
};

QTEST_GUILESS_MAIN(tst_UBXLoggerManager)
#include "tst_UBXLoggerManager.moc"
