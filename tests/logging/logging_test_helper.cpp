// Child process for what crosses a process boundary:
//   logging_test_helper exit-file <path> <count>: exit() with <count> items queued
//   logging_test_helper syslog <socket> <op>...: /dev/log is <socket> (run under
//   unshare --user --map-root-user --mount); op "=N" sets the sink's level to N,
//   "L:text" hands it an item of level L stamped 15.11.2026 14:12:10.123.
#include "ICLoggerFile.h"
#include "ICLoggerModel.h"
#include "ICSysLogger.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <cstdio>
#include <cstdlib>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {
// The socket's directory is laid over /dev when there is no /dev/log to bind
// onto; /dev/null is carried along for whatever opens it later.
bool gfRedirectDevLog(const QString& aSocketPath)
{
    const QByteArray lSocket = QFile::encodeName(aSocketPath);
    struct stat lInfo;
    if (::stat("/dev/log", &lInfo) == 0)
        return ::mount(lSocket.constData(), "/dev/log", nullptr, MS_BIND, nullptr) == 0;
    const QByteArray lDirectory = QFile::encodeName(QFileInfo(aSocketPath).absolutePath());
    const QByteArray lNull = lDirectory + "/null";
    return QFile(QFile::decodeName(lNull)).open(QIODevice::WriteOnly) &&
           ::mount("/dev/null", lNull.constData(), nullptr, MS_BIND, nullptr) == 0 &&
           ::mount(lDirectory.constData(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) == 0;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 3)
        return 2;
    const QByteArray lMode = argv[1];
    if (lMode == "syslog" && !gfRedirectDevLog(QString::fromLocal8Bit(argv[2]))) {
        std::perror("logging_test_helper: cannot redirect /dev/log");
        return 2;
    }
    QCoreApplication lApplication(argc, argv);
    if (lMode == "exit-file" && argc == 4) {
        ICLoggerModel* lModel = ICLoggerModel::instance();
        lModel->mpAddObserver(new ICLoggerFile(QString::fromLocal8Bit(argv[2]), Debug, 0, 0, false),
                              true);
        // The first line is long (a 16 MB thread name), so items are still
        // queued at exit(): the model's exit handler must write them all.
        for (int i = 0; i < std::atoi(argv[3]); ++i) {
            QThread::currentThread()->setObjectName(i == 0 ? QString(1 << 24, 'x') : QString());
            lModel->mpLog(Info, QStringLiteral("item %1").arg(i), 0);
        }
        std::exit(0);
    }
    if (lMode != "syslog")
        return 2;
    ICSysLogger lSink;
    for (int i = 3; i < argc; ++i) {
        const QString lOp = QString::fromUtf8(argv[i]);
        const qsizetype lColon = lOp.indexOf(QLatin1Char(':'));
        if (lOp.startsWith(QLatin1Char('=')))
            lSink.mpSetLevel(lOp.mid(1).toInt());
        else
            lSink.mpSlotLogEvent(ICLoggerItem(
                lOp.mid(lColon + 1), QDateTime(QDate(2026, 11, 15), QTime(14, 12, 10, 123)),
                lOp.left(lColon).toInt(), 1, QString(), 0));
    }
    return 0;
}
