#include "UBXConnectionChecker.h"

#include "ICLoggerModel.h"
#include "UBXMessageStream.h"

#include <QTimer>

UBXConnectionChecker::UBXConnectionChecker(UBXMessageStream* apStream)
    : QObject(nullptr), mvpStream(apStream), mvpCheckTimer(new QTimer(this)),
      mvpSendTimer(new QTimer(this))
{
    mvpCheckTimer->setInterval(int(mvCheckIntervalMs));
    mvpSendTimer->setInterval(int(mvSendIntervalMs));
    connect(mvpCheckTimer, &QTimer::timeout, this,
            &UBXConnectionChecker::mpCheckIfConnectionIsAlive);
    connect(mvpSendTimer, &QTimer::timeout, this, &UBXConnectionChecker::mpSendAliveMessage);
    connect(mvpStream, &UBXMessageStream::sgMessageReceived, this,
            &UBXConnectionChecker::mpOnMessageReceived);
}

UBXConnectionChecker::~UBXConnectionChecker() = default;

void UBXConnectionChecker::mpStart()
{
    if (mvRunning)
        return;
    mvRunning = true;
    mvSinceLastMessage.restart();
    mvpStream->mpStartListening(false);
    mvpCheckTimer->start();
    mvpSendTimer->start();
}

void UBXConnectionChecker::mpStop()
{
    ICLoggerModel::instance()->mpLog(Debug, QStringLiteral("[UBXConnectionChecker::mpStop]"), 0);
    if (!mvRunning)
        return;
    mvRunning = false;
    mvpStream->mpStopListening();
    mvpCheckTimer->stop();
    mvpSendTimer->stop();
}

void UBXConnectionChecker::mpSetIntervals(uint aSendIntervalMs, uint aCheckIntervalMs,
                                          uint aTimeoutMs)
{
    mvSendIntervalMs = aSendIntervalMs;
    mvCheckIntervalMs = aCheckIntervalMs;
    mvTimeoutMs = aTimeoutMs;
    mvpSendTimer->setInterval(int(aSendIntervalMs));
    mvpCheckTimer->setInterval(int(aCheckIntervalMs));
}

void UBXConnectionChecker::mpOnMessageReceived(QString)
{
    if (mvRunning)
        mvSinceLastMessage.restart();
}

void UBXConnectionChecker::mpCheckIfConnectionIsAlive()
{
    if (!mvRunning)
        return;
    const qint64 lElapsed = mvSinceLastMessage.elapsed();
    if (lElapsed <= qint64(mvTimeoutMs))
        return;
    mvpStream->gpPrintStatus();
    ICLoggerModel::instance()->mpLog(
        Debug,
        QStringLiteral("Connection broken due to lack of alive messages. Last message was "
                       "received %1 msecs ago.")
            .arg(lElapsed),
        0);
    Q_EMIT sgConnectionLost(uint(lElapsed));
}

void UBXConnectionChecker::mpSendAliveMessage()
{
    if (mvRunning)
        mvpStream->gpSendMessage(QStringLiteral("<Alive/>"));
}
