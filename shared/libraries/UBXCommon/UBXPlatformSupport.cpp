#include "UBXPlatformSupport_p.h"

#include <QFile>
#include <QProcess>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace {
// A killed group dies at once; the bound only keeps a child stuck in the
// kernel from blocking the caller for ever (QProcess's destructor then tries
// once more).
constexpr qint32 sReapWaitMs = 5000;
} // namespace

UBXProcessResult gfRunProcess(const QString& aProgram, const QStringList& aArguments,
                              qint32 aWaitMs)
{
    UBXProcessResult lResult;
    QProcess lProcess;
    lProcess.setChildProcessModifier([] { ::setpgid(0, 0); });
    lProcess.start(aProgram, aArguments, QIODevice::ReadWrite);
    if (lProcess.waitForFinished(aWaitMs)) {
        lResult.mvFinished = lProcess.exitStatus() == QProcess::NormalExit;
        lResult.mvExitCode = lProcess.exitCode();
    } else if (lProcess.state() != QProcess::NotRunning) {
        // The child is not reaped before the wait below, so its pid still
        // names its process group here.
        const qint64 lPid = lProcess.processId();
        if (lPid > 0)
            ::kill(-static_cast<pid_t>(lPid), SIGKILL);
        lProcess.waitForFinished(sReapWaitMs);
    }
    lResult.mvStandardOutput = lProcess.readAllStandardOutput();
    return lResult;
}

QString gfTextUpToZero(const QByteArray& aBytes)
{
    const qsizetype lZero = aBytes.indexOf('\0');
    return QString::fromLatin1(lZero < 0 ? aBytes : aBytes.left(lZero));
}

bool gfReadTextFile(const QString& aPath, bool aTextMode, QString& aText)
{
    QFile lFile(aPath);
    QIODevice::OpenMode lMode = QIODevice::ReadOnly;
    if (aTextMode)
        lMode |= QIODevice::Text;
    if (!lFile.open(lMode))
        return false;
    aText = gfTextUpToZero(lFile.readAll());
    return true;
}
