// Child process for the logging tests whose behaviour crosses a process
// boundary: what reaches standard output, what a system-log receiver gets, and
// what is left in a file when the program calls exit() with items queued.
//
//   logging_test_helper exit-file <path> <count>
//   logging_test_helper console [--thread] <op>...
//   logging_test_helper syslog [--devlog <socket>] [--thread] <op>...
//
// Ops: "=N" sets the sink's level to N; "L:text" hands the sink an item of
// level L. Without --thread the item goes straight to the sink's slot, stamped
// 15.11.2026 14:12:10.123; with --thread the sink is registered with its own
// thread and the item is logged through the default model. --devlog makes
// /dev/log the given socket in this process's mount namespace (the process
// must run under unshare --user --map-root-user --mount).

#include "ICConsoleLogger.h"
#include "ICLoggerFile.h"
#include "ICLoggerModel.h"
#include "ICSysLogger.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/mount.h>
#include <sys/stat.h>

namespace {
int gfFail(const char* apWhat)
{
    std::fprintf(stderr, "logging_test_helper: %s: %s\n", apWhat, std::strerror(errno));
    return 2;
}

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
    if (!QFile(QFile::decodeName(lNull)).open(QIODevice::WriteOnly))
        return false;
    if (::mount("/dev/null", lNull.constData(), nullptr, MS_BIND, nullptr) != 0)
        return false;
    return ::mount(lDirectory.constData(), "/dev", nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

int gfRunOps(ICLoggerObserver* apSink, bool aOwnThread, const QStringList& aOps)
{
    const QDateTime lStamp(QDate(2026, 11, 15), QTime(14, 12, 10, 123));
    ICLoggerModel* lModel = ICLoggerModel::instance();
    if (aOwnThread)
        lModel->mpAddObserver(apSink, true);
    for (const QString& lOp : aOps) {
        if (lOp.startsWith(QLatin1Char('='))) {
            apSink->mpSetLevel(lOp.mid(1).toInt());
            continue;
        }
        const qsizetype lColon = lOp.indexOf(QLatin1Char(':'));
        const qint32 lLevel = lOp.left(lColon).toInt();
        const QString lText = lOp.mid(lColon + 1);
        if (aOwnThread)
            lModel->mpLog(lLevel, lText, 0);
        else
            apSink->mpSlotLogEvent(ICLoggerItem(lText, lStamp, lLevel, 1, QString(), 0));
    }
    if (aOwnThread)
        lModel->mpRemoveObserver(apSink);
    else
        delete apSink;
    return 0;
}

QStringList gfArguments(int aArgc, char** apArgv)
{
    QStringList lArguments;
    for (int i = 0; i < aArgc; ++i)
        lArguments << QString::fromUtf8(apArgv[i]);
    return lArguments;
}
} // namespace

int main(int argc, char** argv)
{
    QStringList lArguments = gfArguments(argc, argv);
    lArguments.removeFirst();
    const QString lMode = lArguments.value(0);
    lArguments.removeFirst();

    if (lMode == QLatin1String("syslog") && lArguments.value(0) == QLatin1String("--devlog")) {
        if (!gfRedirectDevLog(lArguments.value(1)))
            return gfFail("cannot redirect /dev/log");
        lArguments = lArguments.mid(2);
    }

    QCoreApplication lApplication(argc, argv);
    if (lMode == QLatin1String("exit-file")) {
        const int lCount = lArguments.value(1).toInt();
        ICLoggerModel* lModel = ICLoggerModel::instance();
        lModel->mpAddObserver(new ICLoggerFile(lArguments.value(0), Debug, 0, 0, false), true);
        for (int i = 0; i < lCount; ++i)
            lModel->mpLog(Info, QStringLiteral("item %1").arg(i), 0);
        // Straight out, with the observer thread still busy: the model's exit
        // handler must write everything that was queued.
        std::exit(0);
    }

    const bool lOwnThread = lArguments.value(0) == QLatin1String("--thread");
    if (lOwnThread)
        lArguments.removeFirst();
    if (lMode == QLatin1String("console"))
        return gfRunOps(new ICConsoleLogger, lOwnThread, lArguments);
    if (lMode == QLatin1String("syslog"))
        return gfRunOps(new ICSysLogger, lOwnThread, lArguments);
    std::fprintf(stderr, "logging_test_helper: unknown mode\n");
    return 2;
}
