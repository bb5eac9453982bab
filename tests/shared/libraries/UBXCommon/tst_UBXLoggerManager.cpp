#include "ICLoggerModel.h"
#include "LogCapture.h"
#include "UBXLoggerManager.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstdio>
#include <unistd.h>

namespace {
// Collects what the code under test writes to standard output.
class StdoutCapture
{
public:
    StdoutCapture() { std::fflush(stdout), ::dup2(::fileno(mvFile), STDOUT_FILENO); }
    ~StdoutCapture() { mfText(), std::fclose(mvFile), ::close(mvSaved); }
    QByteArray mfText()
    {
        std::fflush(stdout), ::dup2(mvSaved, STDOUT_FILENO), std::rewind(mvFile);
        QFile lFile;
        return lFile.open(::fileno(mvFile), QIODevice::ReadOnly) ? lFile.readAll() : "?";
    }

private:
    int mvSaved = ::dup(STDOUT_FILENO);
    FILE* mvFile = std::tmpfile();
};

const QByteArray sFilePassed = "The 'filelogging' command line parameter was passed.\n";
const QByteArray sNamePassed = "The 'logfile' command line parameter was passed.";
} // namespace

class tst_UBXLoggerManager : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void init() { QVERIFY(mvDirectory.isValid() && QDir::setCurrent(mvDirectory.path())); }

    void switches_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QByteArray>("output");
        QTest::addColumn<qint32>("threshold");
        QTest::addColumn<QString>("sinks"); // console, system log, file name
        QTest::newRow("none") << QStringList{"launcher", "-other"} << QByteArray() << 5 << "";
        QTest::newRow("all, messages keep their line ends")
            << QStringList{"-debuglogging", "-filelogging",    "-logfile",
                           "a.log",         "-consolelogging", "-syslogging"}
            << "The 'debuglogging' command line parameter was passed.\n" + sFilePassed +
                   sNamePassed +
                   "The 'consolelogging' command line parameter was passed."
                   "The 'syslogging' command line parameter was passed."
            << 0 << "console sys a.log";
        QTest::newRow("file name first") << QStringList{"-logfile", "run.log", "-filelogging"}
                                         << sNamePassed + sFilePassed << 2 << "run.log";
        QTest::newRow("file name missing")
            << QStringList{"-filelogging", "-logfile"}
            << sFilePassed + sNamePassed + "ERROR: Too few arguments while defining log file name\n"
            << 2 << "baseunit.txt";
        QTest::newRow("level applies to sinks named before it")
            << QStringList{"-consolelogging", "-debuglogging"}
            << QByteArray("The 'consolelogging' command line parameter was passed."
                          "The 'debuglogging' command line parameter was passed.\n")
            << 0 << "console";
    }

    void switches()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, sinks);
        QString lName;
        {
            StdoutCapture lOutput;
            UBXLoggerManager lManager(arguments);
            QTEST(lOutput.mfText(), "output");
            QTEST(ICLoggerModel::instance()->mfGetThreshold(), "threshold");
            QCOMPARE(lManager.mfIsLoggingEnabled(), !sinks.isEmpty());
            QCOMPARE(lManager.mfIsConsoleLogging(), sinks.contains("console"));
            QCOMPARE(lManager.mfIsSysLogging(), sinks.contains("sys"));
            QCOMPARE(lManager.mfGetLogFileName(lName), sinks.contains('.'));
            QCOMPARE(lName, sinks.section(' ', -1).contains('.') ? sinks.section(' ', -1) : "");
            lManager.mpDisableConsoleLogging(); // keeps the item off the real outputs
            lManager.mpDisableSysLogging();
            ICLoggerModel::instance()->mpLog(Error, QStringLiteral("into the file"), 0);
        }
        QCOMPARE(QDir().entryList(QDir::Files),
                 lName.isEmpty() ? QStringList() : QStringList(lName));
        QFile lFile(lName);
        const QByteArray lContent = lFile.open(QIODevice::ReadOnly) ? lFile.readAll() : "";
        QVERIFY(lName.isEmpty() ||
                (lContent.startsWith("===== Log format: 2.0 Log file started ") &&
                 lContent.endsWith("\t: into the file\n") && lFile.remove()));
    }

    void levelChangesReachEverySinkAndDisabledSinksAreForgotten()
    {
        StdoutCapture lOutput;
        UBXLoggerManager lManager({"-consolelogging", "-syslogging"});
        // Enabling again replaces the sink rather than adding a second one.
        lManager.mpEnableConsoleLogging();
        lManager.mpDisableSysLogging();
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
        UBXLoggerManager lManager({});
        LogCapture lLog(Debug);
        qDebug("plain %d", 1);
        qWarning("careful");
        qCritical("broken");
        qWarning("QGLShader::link: failed");
        qInfo("informational");
        QCOMPARE(lLog.mfItems().size(), 3);
        QCOMPARE(lLog.mfTexts(Debug) + lLog.mfTexts(Warn) + lLog.mfTexts(Fatal),
                 QStringList({"[Qt] plain 1", "[Qt] careful", "[Qt] broken"}));
    }

private:
    QTemporaryDir mvDirectory;
};

QTEST_GUILESS_MAIN(tst_UBXLoggerManager)
#include "tst_UBXLoggerManager.moc"
