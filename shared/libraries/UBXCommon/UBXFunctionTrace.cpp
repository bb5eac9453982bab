#include "UBXFunctionTrace.h"

#include "ICLoggerModel.h"

UBXFunctionTrace::UBXFunctionTrace(const QString& aFunctionName)
    : mvFunctionName(aFunctionName), mvStartTime(QTime::currentTime())
{
    ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("Entering %1.").arg(mvFunctionName));
}

UBXFunctionTrace::~UBXFunctionTrace()
{
    ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("Leaving %1. Function took %2 ms.")
                                                .arg(mvFunctionName)
                                                .arg(mvStartTime.msecsTo(QTime::currentTime())));
}
