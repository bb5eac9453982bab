#include "UBXThread.h"

#include "ICLoggerModel.h"

UBXThread::UBXThread(const QString& aName) : QThread(nullptr), mvName(aName) {}

UBXThread::~UBXThread()
{
    if (isRunning())
        ICLoggerModel::instance()->mpLog(
            Error,
            QStringLiteral(
                "[UBXThread::~UBXThread] Thread <<%1>> is deleted while it is still running!")
                .arg(mvName));
}
