#ifndef UBXCONNECTIONCHECKER_H
#define UBXCONNECTIONCHECKER_H

#include "UBXCommExport.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QTimer;
class UBXMessageStream;

// Keeps a message stream alive: sends "<Alive/>" every send interval and, at
// every check, reports sgConnectionLost when no message of any kind arrived
// for longer than the time-out. The report repeats at every check until a
// message arrives or the checker stops.
class UBXCOMM_EXPORT UBXConnectionChecker : public QObject
{
    Q_OBJECT
public:
    // The stream is not owned and must outlive the checker.
    explicit UBXConnectionChecker(UBXMessageStream* apStream);
    ~UBXConnectionChecker() override;

    // Starts the stream listening continuously, and both timers.
    void mpStart();
    void mpStop();
    // Applied to running timers at once.
    void mpSetIntervals(uint aSendIntervalMs, uint aCheckIntervalMs, uint aTimeoutMs);
    uint mfGetSendInterval() const { return mvSendIntervalMs; }
    uint mfGetCheckInterval() const { return mvCheckIntervalMs; }
    uint mfGetTimeout() const { return mvTimeoutMs; }

Q_SIGNALS:
    void sgConnectionLost(uint aMsSinceLastAliveMessage);

public Q_SLOTS:
    void mpOnMessageReceived(QString aMessage);
    void mpCheckIfConnectionIsAlive();
    void mpSendAliveMessage();

private:
    UBXMessageStream* mvpStream;
    QElapsedTimer mvSinceLastMessage;
    QTimer* mvpCheckTimer;
    QTimer* mvpSendTimer;
    bool mvRunning = false;
    uint mvSendIntervalMs = 1000;
    uint mvCheckIntervalMs = 1000;
    uint mvTimeoutMs = 4000;
};

#endif
