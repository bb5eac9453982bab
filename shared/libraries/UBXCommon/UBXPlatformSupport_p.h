#ifndef UBXPLATFORMSUPPORT_P_H
#define UBXPLATFORMSUPPORT_P_H

#include <QByteArray>
#include <QString>
#include <QStringList>

// Helpers of the system probes and the desktop functions; not exported.

// What a child process left behind once it has been waited for.
struct UBXProcessResult
{
    // True when it ended by itself within the wait (not killed, not crashed).
    bool mvFinished = false;
    qint32 mvExitCode = -1;
    QByteArray mvStandardOutput;
};

// Runs aProgram with aArguments (stdin and stdout opened), waits at most
// aWaitMs for it and returns its standard output. The child leads a process
// group of its own, so that on time-out the whole group (a shell together with
// the tool it started) is killed and reaped: nothing outlives the call.
UBXProcessResult gfRunProcess(const QString& aProgram, const QStringList& aArguments,
                              qint32 aWaitMs);

// The bytes up to the first zero byte, one character per byte (Latin-1), the
// way the kernel listings and the tools' outputs are read.
QString gfTextUpToZero(const QByteArray& aBytes);

// The whole content of a file opened read-only (in text mode when asked) as
// gfTextUpToZero reads it; false when the file cannot be opened.
bool gfReadTextFile(const QString& aPath, bool aTextMode, QString& aText);

#endif
