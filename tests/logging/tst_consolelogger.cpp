#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace {
// Runs the helper's console sink with the given ops and returns its standard
// output, byte for byte.
QByteArray gfRunConsole(const QStringList& aArguments)
{
    QProcess lHelper;
    lHelper.start(QStringLiteral(LOGGING_TEST_HELPER),
                  QStringList{QStringLiteral("console")} + aArguments);
    if (!lHelper.waitForFinished(60000) || lHelper.exitStatus() != QProcess::NormalExit ||
        lHelper.exitCode() != 0) {
        qWarning() << "helper failed:" << lHelper.errorString() << lHelper.readAllStandardError();
        return "helper failed";
    }
    return lHelper.readAllStandardOutput();
}
} // namespace

class tst_ConsoleLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void linesOnStandardOutput();
    void fromItsOwnThread();
};

void tst_ConsoleLogger::linesOnStandardOutput()
{
    const QByteArray lOutput = gfRunConsole({"3:below the default level",
                                             "4:default level is Error",
                                             "=0",
                                             "-1:banner",
                                             "0:debug",
                                             "1:diag",
                                             "2:Started",
                                             "3:warn",
                                             "4:error",
                                             "5:fatal",
                                             "6:six",
                                             "-2:below everything",
                                             QString::fromUtf8("2:Grüße aus 東京 €"),
                                             "2:",
                                             "=3",
                                             "0:hidden",
                                             "1:hidden",
                                             "2:hidden",
                                             "3:still shown",
                                             "-1:status passes"});
    QCOMPARE(lOutput, QByteArray("Error\t2026-11-15T14:12:10:123\tdefault level is Error\n"
                                 "Unknown\t2026-11-15T14:12:10:123\tbanner\n"
                                 "Debug\t2026-11-15T14:12:10:123\tdebug\n"
                                 "Unknown\t2026-11-15T14:12:10:123\tdiag\n"
                                 "Info\t2026-11-15T14:12:10:123\tStarted\n"
                                 "Warning\t2026-11-15T14:12:10:123\twarn\n"
                                 "Error\t2026-11-15T14:12:10:123\terror\n"
                                 "Critical\t2026-11-15T14:12:10:123\tfatal\n"
                                 "Unknown\t2026-11-15T14:12:10:123\tsix\n"
                                 "Info\t2026-11-15T14:12:10:123\tGr\xfc\xdf"
                                 "e aus ?? ?\n"
                                 "Info\t2026-11-15T14:12:10:123\t\n"
                                 "Warning\t2026-11-15T14:12:10:123\tstill shown\n"
                                 "Unknown\t2026-11-15T14:12:10:123\tstatus passes\n"));
}

void tst_ConsoleLogger::fromItsOwnThread()
{
    const QByteArray lOutput =
        gfRunConsole({"--thread", "=2", "2:routed", "0:hidden", "=0", "0:now debug"});
    const QRegularExpression lPattern(
        QStringLiteral("^Info\\t\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d:\\d{3}\\trouted\\n"
                       "Debug\\t\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\d:\\d{3}\\tnow debug\\n$"));
    QVERIFY2(lPattern.match(QString::fromLatin1(lOutput)).hasMatch(), lOutput.constData());
}

QTEST_GUILESS_MAIN(tst_ConsoleLogger)
#include "tst_consolelogger.moc"
