#include "UBXConnection.h"

#include "ICLoggerModel.h"
#include "UBXAbstractConnection.h"
#include "UBXConnectionBandwidthRegistry.h"
#include "UBXConnectionDataBlockEvent.h"
#include "UBXConnectionDelegate.h"
#include "UBXConnectionMessageEvent.h"

#include <QDateTime>
#include <QTimer>

#include <cstdlib>

namespace {
constexpr int cSendAliveIntervalMs = 1000;
constexpr int cCheckAliveIntervalMs = 3000;
constexpr qint64 cAliveTimeoutMs = 2000;
constexpr qint64 cSlowBlockMs = 1000;
constexpr qint64 cAudioReadGapMs = 150;
constexpr quint8 cAudioBlockType = 2;
constexpr qint64 cMaximumBudget = 4294967295LL;
} // namespace

UBXConnection::UBXConnection(UBXAbstractConnection* apConnection, UBXConnectionDelegate* apDelegate,
                             const QString& aName, bool abWithBlockType)
    : QObject(nullptr), mvpDelegate(apDelegate), mvpConnection(apConnection),
      mvWithBlockType(abWithBlockType), mvName(aName), mvpBandwidthTimer(new QTimer)
{
    Q_ASSERT_X(apDelegate,
               "UBXConnection::UBXConnection(UBXAbstractConnection*, UBXConnectionDelegate*, const "
               "QString&, bool)",
               "apDelegate in shared/libraries/UBXComm/UBXConnection");
    mvFillerBuffer = static_cast<char*>(std::calloc(mvFillerSize, 1));
    connect(mvpBandwidthTimer, &QTimer::timeout, this,
            &UBXConnection::mpOnBandwidthMeasurementTimeout);

    connect(mvpConnection, &UBXAbstractConnection::sgConnected, this,
            &UBXConnection::mpOnConnected);
    connect(mvpConnection, &UBXAbstractConnection::sgDisconnected, this,
            &UBXConnection::mpOnDisconnected);
    connect(mvpConnection, &UBXAbstractConnection::sgError, this, &UBXConnection::mpOnError);
    connect(mvpConnection, &UBXAbstractConnection::sgReadyRead, this,
            &UBXConnection::mpOnReadyRead);

    mvAliveTimer.start();
    mvpSendAliveTimer = new QTimer(this);
    connect(mvpSendAliveTimer, &QTimer::timeout, this, &UBXConnection::mpOnSendAliveMessageTimeout);
    mvpSendAliveTimer->start(cSendAliveIntervalMs);
    mvpCheckAliveTimer = new QTimer(this);
    connect(mvpCheckAliveTimer, &QTimer::timeout, this,
            &UBXConnection::mpOnCheckAliveMessageTimeout);
    mvpCheckAliveTimer->start(cCheckAliveIntervalMs);

    mvPeerAddress = mvpConnection->mfGetPeerAddress();
    mvLastReadTime = QDateTime::currentMSecsSinceEpoch();
    // Bytes that came with the handshake were announced before we listened.
    // Queued, so the delegate hears nothing before its owner has the object.
    if (mvpConnection->mfBytesAvailable() > 0)
        QMetaObject::invokeMethod(this, &UBXConnection::mpOnReadyRead, Qt::QueuedConnection);
}

UBXConnection::~UBXConnection()
{
    delete mvpBandwidthTimer;
    std::free(mvReceiveBuffer);
    std::free(mvFillerBuffer);
    if (mvOwnsConnection)
        delete mvpConnection;
    UBXConnectionBandwidthRegistry::instance()->gpRemove(this);
}

void UBXConnection::mpSetFillerSize(quint32 aFillerSize)
{
    std::free(mvFillerBuffer);
    mvFillerSize = aFillerSize;
    mvFillerBuffer = static_cast<char*>(std::calloc(mvFillerSize, 1));
}

void UBXConnection::mpSetBandwidthMeasurementEnabled(bool abEnabled)
{
    if (abEnabled == mvBandwidthMeasurementEnabled)
        return;
    mvBandwidthMeasurementEnabled = abEnabled;
    mpRestartBandwidthMeasurement();
}

void UBXConnection::mpSetBandwidthMeasurementInterval(quint32 aIntervalMs)
{
    if (aIntervalMs == mvBandwidthMeasurementInterval)
        return;
    mvBandwidthMeasurementInterval = aIntervalMs;
    mpRestartBandwidthMeasurement();
}

void UBXConnection::mpRestartBandwidthMeasurement()
{
    mvpBandwidthTimer->stop();
    if (!mvBandwidthMeasurementEnabled || mvBandwidthMeasurementInterval == 0)
        return;
    mvpBandwidthTimer->setInterval(int(qMin<quint32>(mvBandwidthMeasurementInterval, INT_MAX)));
    mvBytesSent = 0;
    mvBytesReceived = 0;
    mvpBandwidthTimer->start();
}

bool UBXConnection::gfSendMessage(const QString& aMessage, quint8 aType)
{
    if (!mvpConnection->mfIsConnected())
        return false;
    const QByteArray lText = aMessage.toUtf8();
    return mfSendBlock(lText, aType);
}

bool UBXConnection::gfSendDataBlock(const QByteArray& aData, quint8 aType)
{
    if (!mvpConnection->mfIsConnected())
        return false;
    return mfSendBlock(aData, aType);
}

bool UBXConnection::mfSendBlock(const QByteArray& aPayload, quint8 aType)
{
    const quint32 lLength = quint32(aPayload.size());
    const char lHeader[5] = {char(lLength >> 24), char(lLength >> 16), char(lLength >> 8),
                             char(lLength), char(aType)};
    const quint32 lHeaderSize = mvWithBlockType ? 5 : 4;
    mvBytesSent += lHeaderSize;
    mvpConnection->mfWrite(lHeader, lHeaderSize);
    // As an array: a socket keeps a large one shared instead of copying it.
    if (lLength > 0)
        mvpConnection->mfWrite(aPayload);
    mvBytesSent += lLength;
    mvpConnection->mfFlush();
    return true;
}

bool UBXConnection::gfSendRawData(const QByteArray& aData)
{
    if (!mvpConnection->mfIsConnected())
        return false;
    mvBytesSent += quint32(aData.size());
    return mvpConnection->mfWrite(aData) == aData.size();
}

void UBXConnection::mpOnConnected()
{
    mvPeerAddress.clear();
    mvpDelegate->mpConnectionEstablished(this);
}

void UBXConnection::mpOnDisconnected()
{
    mvpDelegate->mpConnectionLost(this);
}

void UBXConnection::mpOnError(QString aError)
{
    mvpDelegate->mpConnectionError(this, aError);
}

bool UBXConnection::mfReserveReceiveBuffer(quint32 aSize)
{
    if (mvReceiveCapacity >= aSize && mvReceiveBuffer)
        return true;
    std::free(mvReceiveBuffer);
    mvReceiveBuffer = static_cast<char*>(std::malloc(aSize));
    if (!mvReceiveBuffer) {
        ICLoggerModel::instance()->mpLog(
            Error,
            QStringLiteral("Could not allocate %1 bytes for connection %2.")
                .arg(mvReceiveCapacity)
                .arg(mvName),
            0);
        return false;
    }
    mvReceiveCapacity = aSize;
    return true;
}

void UBXConnection::mpRefuseBlock(const QString& aError)
{
    mvpDelegate->mpConnectionError(this, aError);
    // Queued, so the delegate may have closed or destroyed the connection.
    QMetaObject::invokeMethod(this, &UBXConnection::mpOnReadyRead, Qt::QueuedConnection);
}

void UBXConnection::mpOnReadyRead()
{
    quint32 lBudget = quint32(qBound<qint64>(0, mvpConnection->mfBytesAvailable(), cMaximumBudget));
    if (lBudget == 0)
        return;
    mvAliveTimer.restart();
    const quint32 lHeaderSize = mvWithBlockType ? 5 : 4;

    // A loop, not a call per block: a peer that sends nothing but headers
    // must not be able to grow the stack.
    for (;;) {
        if (!mvReadingBlock) {
            if (lBudget < lHeaderSize)
                return;
            unsigned char lHeader[5] = {};
            if (mvpConnection->mfRead(reinterpret_cast<char*>(lHeader), lHeaderSize) != lHeaderSize)
                return;
            lBudget -= lHeaderSize;
            mvBytesReceived += lHeaderSize;
            mvBlockSize = (quint32(lHeader[0]) << 24) | (quint32(lHeader[1]) << 16) |
                          (quint32(lHeader[2]) << 8) | quint32(lHeader[3]);
            mvBlockType = mvWithBlockType ? lHeader[4] : 0;
            mvBytesRead = 0;
            if (mvBlockSize > cMaximumBlockSize) {
                ICLoggerModel::instance()->mpLog(
                    Error,
                    QStringLiteral("[UBXConnection::mpOnReadyRead] Header indicates block of %1 "
                                   "bytes. Connection name: <<%2>>. Disconnecting...")
                        .arg(mvBlockSize)
                        .arg(mvName),
                    0);
                mpRefuseBlock(QStringLiteral("Size of data block is bigger than allowed. Size: %1.")
                                  .arg(mvBlockSize));
                return;
            }
            if (mvBlockSize > 0) {
                if (!mfReserveReceiveBuffer(mvBlockSize)) {
                    mpRefuseBlock(QStringLiteral("Could not allocate memory for incoming message. "
                                                 "Number of bytes of message should be %1.")
                                      .arg(mvBlockSize));
                    return;
                }
                mvReadingBlock = true;
                mvBlockReadTimer.restart();
            }
        }

        const quint32 lWanted = qMin(lBudget, mvBlockSize - mvBytesRead);
        if (lWanted > 0) {
            const qint64 lRead = mvpConnection->mfRead(mvReceiveBuffer + mvBytesRead, lWanted);
            if (lRead <= 0)
                return;
            lBudget -= quint32(lRead);
            mvBytesRead += quint32(lRead);
            mvBytesReceived += quint32(lRead);
        }

        const qint64 lNow = QDateTime::currentMSecsSinceEpoch();
        if (mvWithBlockType && mvBlockType == cAudioBlockType &&
            lNow - mvLastReadTime > cAudioReadGapMs)
            ICLoggerModel::instance()->mpLog(
                Debug,
                QStringLiteral("[AV] %1 milliseconds passed since last read attempt for audio ...")
                    .arg(lNow - mvLastReadTime),
                0);
        mvLastReadTime = lNow;

        if (mvBytesRead != mvBlockSize)
            return;
        if (mvReadingBlock) {
            mvReadingBlock = false;
            mvpDelegate->mpDataBlockReceived(
                this, QByteArray(mvReceiveBuffer, qsizetype(mvBlockSize)), mvBlockType);
        }
        if (lBudget == 0)
            return;
    }
}

void UBXConnection::mpOnBandwidthMeasurementTimeout()
{
    if (mvBandwidthMeasurementInterval != 0) {
        const float lScale = float(mvBandwidthMeasurementInterval) * 1000.0f;
        const float lUp = float(mvBytesSent) * 8.0f / lScale;
        const float lDown = float(mvBytesReceived) * 8.0f / lScale;
        UBXConnectionBandwidthRegistry::instance()->gpUpdate(this, lUp, lDown);
        Q_EMIT sgBandwidthMeasurementDone(lUp, lDown);
    }
    mvBytesSent = 0;
    mvBytesReceived = 0;
}

void UBXConnection::mpOnSendAliveMessageTimeout()
{
    gfSendMessage(QString(), 0);
}

void UBXConnection::mpOnCheckAliveMessageTimeout()
{
    const qint64 lSilentMs = mvAliveTimer.elapsed();
    if (lSilentMs > cAliveTimeoutMs) {
        ICLoggerModel::instance()->mpLog(
            Warn,
            QStringLiteral("[UBXConnection::mpOnCheckAliveMessageTimeout] No 'Alive' message "
                           "received on connection %1 for %2ms.")
                .arg(mvName)
                .arg(lSilentMs),
            0);
        mvpDelegate->mpConnectionLost(this);
    }
    mvAliveTimer.restart();
    if (mvReadingBlock && mvBlockReadTimer.elapsed() > cSlowBlockMs)
        ICLoggerModel::instance()->mpLog(
            Warn,
            QStringLiteral("[UBXConnection::mpOnCheckAliveMessageTimeout] Reading block took more "
                           "than 1 second. Size of block: %1. Number of bytes read: %2. Block "
                           "type: %3. Connection ID: %4.")
                .arg(mvBlockSize)
                .arg(mvBytesRead)
                .arg(mvBlockType)
                .arg(mvName),
            0);
}

bool UBXConnection::event(QEvent* apEvent)
{
    if (apEvent->type() == UBXConnectionMessageEvent::cType)
        gfSendMessage(static_cast<UBXConnectionMessageEvent*>(apEvent)->mfGetMessage(), 0);
    else if (apEvent->type() == UBXConnectionDataBlockEvent::cType) {
        const auto* lEvent = static_cast<UBXConnectionDataBlockEvent*>(apEvent);
        gfSendDataBlock(lEvent->mfGetData(), lEvent->mfGetType());
    }
    return QObject::event(apEvent);
}
