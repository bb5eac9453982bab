#ifndef UBXFUNCTIONTRACE_H
#define UBXFUNCTIONTRACE_H

#include "UBXCommonExport.h"

#include <QString>
#include <QTime>

// Brackets a function's run in the log. Declared at the top of a function, it
// logs "Entering <name>." at debug level when made and "Leaving <name>.
// Function took <n> ms." when the function returns.
class UBXCOMMON_EXPORT UBXFunctionTrace
{
public:
    explicit UBXFunctionTrace(const QString& aFunctionName);
    ~UBXFunctionTrace();
    UBXFunctionTrace(const UBXFunctionTrace&) = delete;
    UBXFunctionTrace& operator=(const UBXFunctionTrace&) = delete;

private:
    QString mvFunctionName;
    QTime mvStartTime;
};

#endif
