#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// The sink runs in a helper process whose /dev/log, in a private mount
// namespace, is a datagram socket of this test standing in for the daemon.
class tst_SysLogger : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void priorityAndText()
    {
        const QString lUnshare = QStandardPaths::findExecutable(QStringLiteral("unshare"));
        const QStringList lNamespaces{"--user", "--map-root-user", "--mount"};
        if (lUnshare.isEmpty() || QProcess::execute(lUnshare, lNamespaces + QStringList{"true"}))
            QSKIP("no unshare or no user namespaces: cannot give the sink a private /dev/log");
        QTemporaryDir lDirectory;
        QVERIFY(QDir(lDirectory.path()).mkdir(QStringLiteral("dev")));
        const QByteArray lPath = QFile::encodeName(lDirectory.filePath(QStringLiteral("dev/log")));
        sockaddr_un lAddress{};
        lAddress.sun_family = AF_UNIX;
        qstrncpy(lAddress.sun_path, lPath.constData(), sizeof lAddress.sun_path);
        const int lSocket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        QVERIFY(::bind(lSocket, reinterpret_cast<sockaddr*>(&lAddress), sizeof(lAddress)) == 0);

        QProcess lHelper;
        lHelper.start(lUnshare,
                      lNamespaces + QStringList{LOGGING_TEST_HELPER, "syslog", lPath, "-1:status",
                                                "4:default level is Error", "3:below", "=0",
                                                "0:Debug text", "1:diag text", "2:Info text",
                                                "3:Disk low", "5:Fatal text", "6:out of range",
                                                "-2:below everything", "2:Grüße 東京"});
        // The kernel queues only a handful of datagrams and then blocks the
        // sender, so they are taken while the helper runs.
        QStringList lReceived;
        const QRegularExpression lFrame(
            "^<(\\d+)>[A-Z][a-z]{2} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d logging_test_helper: (.*)$");
        QDeadlineTimer lDeadline(60000);
        for (bool lRunning = true; lRunning && !lDeadline.hasExpired();) {
            lRunning = !lHelper.waitForFinished(50);
            char lBuffer[4096];
            ssize_t lSize;
            while ((lSize = ::recv(lSocket, lBuffer, sizeof(lBuffer), 0)) >= 0)
                lReceived << QString::fromLatin1(lBuffer, lSize).replace(lFrame, "\\1 \\2");
        }
        ::close(lSocket);
        QCOMPARE(lHelper.exitCode(), 0);
        // The priority carries the user facility (8).
        QCOMPARE(lReceived, QStringList({"11 [ERROR] default level is Error   [14:12:10.123]",
                                         "15 [DEBUG] Debug text   [14:12:10.123]",
                                         "14 [INFO] Info text   [14:12:10.123]",
                                         "12 [WARNING] Disk low   [14:12:10.123]",
                                         "10 [CRIT] Fatal text   [14:12:10.123]",
                                         QString::fromLatin1("14 [INFO] Gr\xfc\xdf"
                                                             "e ??   [14:12:10.123]")}));
    }
};

QTEST_GUILESS_MAIN(tst_SysLogger)
#include "tst_syslogger.moc"
