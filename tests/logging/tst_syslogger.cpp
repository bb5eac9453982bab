#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {
// A datagram socket standing in for the system-log daemon.
class LogReceiver
{
public:
    explicit LogReceiver(const QString& aPath)
    {
        const QByteArray lPath = QFile::encodeName(aPath);
        sockaddr_un lAddress{};
        lAddress.sun_family = AF_UNIX;
        if (static_cast<size_t>(lPath.size()) >= sizeof(lAddress.sun_path))
            return;
        std::copy(lPath.begin(), lPath.end(), lAddress.sun_path);
        mvSocket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (mvSocket >= 0 &&
            ::bind(mvSocket, reinterpret_cast<sockaddr*>(&lAddress), sizeof(lAddress)) != 0) {
            ::close(mvSocket);
            mvSocket = -1;
        }
    }
    ~LogReceiver()
    {
        if (mvSocket >= 0)
            ::close(mvSocket);
    }
    bool mfIsListening() const { return mvSocket >= 0; }

    // Takes every datagram waiting. The kernel queues only a handful per
    // socket and then blocks the sender, so this runs while the sender works.
    void mpDrain()
    {
        char lBuffer[4096];
        ssize_t lSize;
        while ((lSize = ::recv(mvSocket, lBuffer, sizeof(lBuffer), 0)) >= 0)
            mvMessages << QByteArray(lBuffer, static_cast<qsizetype>(lSize));
    }

    QList<QByteArray> mvMessages;

private:
    int mvSocket = -1;
};

} // namespace

class tst_SysLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void priorityAndText();
    void fromItsOwnThread();

private:
    // Runs the helper's syslog sink in a user and mount namespace whose
    // /dev/log is a socket of this test; aMessages gets what arrived there.
    // False when the run could not be set up or the helper failed.
    bool mfRun(const QStringList& aOps, QList<QByteArray>& aMessages);
    QString mvUnshare;
};

void tst_SysLogger::initTestCase()
{
    mvUnshare = QStandardPaths::findExecutable(QStringLiteral("unshare"));
    if (mvUnshare.isEmpty())
        QSKIP("unshare (util-linux) is not installed: cannot give the sink a private /dev/log");
    QProcess lProbe;
    lProbe.start(mvUnshare, {"--user", "--map-root-user", "--mount", "true"});
    if (!lProbe.waitForFinished(30000) || lProbe.exitCode() != 0)
        QSKIP(
            qPrintable(QStringLiteral("user namespaces are unavailable here (%1): cannot give "
                                      "the sink a private /dev/log")
                           .arg(QString::fromLocal8Bit(lProbe.readAllStandardError().trimmed()))));
}

bool tst_SysLogger::mfRun(const QStringList& aOps, QList<QByteArray>& aMessages)
{
    QTemporaryDir lDirectory;
    if (!lDirectory.isValid() || !QDir(lDirectory.path()).mkdir(QStringLiteral("dev")))
        return false;
    const QString lSocketPath = lDirectory.filePath(QStringLiteral("dev/log"));
    LogReceiver lReceiver(lSocketPath);
    if (!lReceiver.mfIsListening()) {
        qWarning() << "cannot listen on" << lSocketPath;
        return false;
    }

    QProcess lHelper;
    lHelper.start(mvUnshare, QStringList{"--user", "--map-root-user", "--mount",
                                         QStringLiteral(LOGGING_TEST_HELPER), "syslog", "--devlog",
                                         lSocketPath} +
                                 aOps);
    QDeadlineTimer lDeadline(60000);
    while (lHelper.state() != QProcess::NotRunning && !lDeadline.hasExpired()) {
        lHelper.waitForFinished(50);
        lReceiver.mpDrain();
    }
    lReceiver.mpDrain();
    aMessages = lReceiver.mvMessages;
    if (lHelper.state() != QProcess::NotRunning || lHelper.exitStatus() != QProcess::NormalExit ||
        lHelper.exitCode() != 0) {
        qWarning() << "helper failed:" << lHelper.readAllStandardError();
        return false;
    }
    return true;
}

void tst_SysLogger::priorityAndText()
{
    QList<QByteArray> lMessages;
    QVERIFY(mfRun({"=0", "-1:status banner", "0:Debug text", "1:diag text", "2:Info text",
                   "3:Disk low", "4:Error text", "5:Fatal text", "6:out of range",
                   "-2:below everything", QString::fromUtf8("2:Grüße 東京"), "=3", "2:below",
                   "1:below", "3:still sent", "-1:status again"},
                  lMessages));

    // What glibc puts in front: the priority with the user facility (8) added,
    // its own time stamp and the program name.
    const QRegularExpression lFrame(
        QStringLiteral(
            "^<(\\d+)>[A-Z][a-z]{2} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d logging_test_helper: (.*)$"),
        QRegularExpression::DotMatchesEverythingOption);
    QStringList lReceived;
    for (const QByteArray& lMessage : lMessages) {
        const QRegularExpressionMatch lMatch = lFrame.match(QString::fromLatin1(lMessage));
        QVERIFY2(lMatch.hasMatch(), lMessage.constData());
        lReceived << lMatch.captured(1) + QLatin1Char(' ') + lMatch.captured(2);
    }
    QCOMPARE(lReceived,
             QStringList(
                 {"15 [DEBUG] Debug text   [14:12:10.123]", "14 [INFO] Info text   [14:12:10.123]",
                  "12 [WARNING] Disk low   [14:12:10.123]",
                  "11 [ERROR] Error text   [14:12:10.123]", "10 [CRIT] Fatal text   [14:12:10.123]",
                  QString::fromLatin1("14 [INFO] Gr\xfc\xdf"
                                      "e ??   [14:12:10.123]"),
                  "12 [WARNING] still sent   [14:12:10.123]"}));
}

void tst_SysLogger::fromItsOwnThread()
{
    QList<QByteArray> lMessages;
    QVERIFY(mfRun({"--thread", "=3", "2:dropped", "-1:status", "4:threaded"}, lMessages));
    QCOMPARE(lMessages.size(), 1);
    const QRegularExpression lPattern(
        QStringLiteral("^<11>.* logging_test_helper: \\[ERROR\\] threaded   "
                       "\\[\\d\\d:\\d\\d:\\d\\d\\.\\d{3}\\]$"));
    QVERIFY2(lPattern.match(QString::fromLatin1(lMessages[0])).hasMatch(),
             lMessages[0].constData());
}

QTEST_GUILESS_MAIN(tst_SysLogger)
#include "tst_syslogger.moc"
