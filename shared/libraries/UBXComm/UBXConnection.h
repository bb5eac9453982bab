#ifndef UBXCONNECTION_H
#define UBXCONNECTION_H

#include "UBXCommExport.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QObject>
#include <QString>

class QTimer;
class UBXAbstractConnection;
class UBXConnectionDelegate;

// Length-prefixed blocks over a UBXAbstractConnection. On the wire each block
// is a 4-byte big-endian payload length L, then (only with block types on) one
// type byte, then L bytes. Both ends must agree on the type byte; nothing on
// the wire says whether it is there.
//
// L = 0 is an alive block: sent every 1,000 ms, counted as traffic, never
// delivered. At every 3,000 ms check the peer is reported lost when no byte
// arrived for more than 2,000 ms, again at each later check while it stays
// silent (and while the transport is not connected). Headers with L above
// 5,242,880 are refused: the delegate gets mpConnectionError and decides
// whether to close.
//
// Memory: one receive buffer of the largest accepted block so far (at most
// 5 MiB), kept between blocks so that steady streams allocate once. Every
// ready-read drains the transport completely, so the socket's own buffer never
// grows behind the reader.
//
// Lives in one thread; other threads send by posting UBXConnectionMessageEvent
// or UBXConnectionDataBlockEvent to it.
class UBXCOMM_EXPORT UBXConnection : public QObject
{
    Q_OBJECT
public:
    static constexpr quint32 cMaximumBlockSize = 5242880;

    // Neither the transport nor the delegate is owned (see
    // mpSetOwnsConnection); the delegate must not be null. Bytes already
    // waiting in the transport (those behind a descriptor) are read on the
    // next event-loop pass.
    UBXConnection(UBXAbstractConnection* apConnection, UBXConnectionDelegate* apDelegate,
                  const QString& aName, bool abWithBlockType);
    ~UBXConnection() override;

    UBXAbstractConnection* mfGetConnection() const { return mvpConnection; }
    // When set, the destructor destroys the transport too.
    void mpSetOwnsConnection(bool abOwnsConnection) { mvOwnsConnection = abOwnsConnection; }
    QString mfGetName() const { return mvName; }
    // The transport's peer address at construction; empty once it connected.
    QString mfGetPeerAddress() const { return mvPeerAddress; }
    bool mfIsWithBlockType() const { return mvWithBlockType; }
    void mpSetWithBlockType(bool abWithBlockType) { mvWithBlockType = abWithBlockType; }

    // Zero bytes for senders that pad their blocks; the connection writes them
    // nowhere itself. 650 bytes until changed.
    quint32 mfGetFillerSize() const { return mvFillerSize; }
    void mpSetFillerSize(quint32 aFillerSize);
    const char* mfGetFillerBuffer() const { return mvFillerBuffer; }

    // Every interval, sgBandwidthMeasurementDone reports the traffic of both
    // directions, headers included, in megabits per second, and the process
    // registry (UBXConnectionBandwidthRegistry) keeps the figures. Setting a
    // value it already has changes nothing; any change starts a new interval.
    bool mfIsBandwidthMeasurementEnabled() const { return mvBandwidthMeasurementEnabled; }
    void mpSetBandwidthMeasurementEnabled(bool abEnabled);
    quint32 mfGetBandwidthMeasurementInterval() const { return mvBandwidthMeasurementInterval; }
    void mpSetBandwidthMeasurementInterval(quint32 aIntervalMs);

    // False, with nothing written, while the transport is not connected.
    // The write results are not checked; the transport is flushed.
    virtual bool gfSendMessage(const QString& aMessage, quint8 aType);
    virtual bool gfSendDataBlock(const QByteArray& aData, quint8 aType);
    // The bytes as they are, without a header; true when the transport took
    // them all.
    virtual bool gfSendRawData(const QByteArray& aData);

Q_SIGNALS:
    void sgBandwidthMeasurementDone(float aBandwidthUpstreamMbps, float aBandwidthDownstreamMbps);

public Q_SLOTS:
    void mpOnConnected();
    void mpOnDisconnected();
    void mpOnError(QString aError);
    void mpOnReadyRead();
    void mpOnBandwidthMeasurementTimeout();
    void mpOnSendAliveMessageTimeout();
    void mpOnCheckAliveMessageTimeout();

protected:
    bool event(QEvent* apEvent) override;

private:
    bool mfSendBlock(const QByteArray& aPayload, quint8 aType);
    // Makes the receive buffer hold at least aSize bytes.
    bool mfReserveReceiveBuffer(quint32 aSize);
    // Refuses the header just read; bytes behind it are read on the next
    // event-loop pass, not left for the peer's next write.
    void mpRefuseBlock(const QString& aError);
    void mpRestartBandwidthMeasurement();

    UBXConnectionDelegate* mvpDelegate;
    bool mvOwnsConnection = false;
    UBXAbstractConnection* mvpConnection;
    quint32 mvFillerSize = 650;
    bool mvWithBlockType;
    char* mvReceiveBuffer = nullptr;
    quint32 mvReceiveCapacity = 0;
    bool mvReadingBlock = false;
    char* mvFillerBuffer = nullptr;
    quint8 mvBlockType = 0;
    quint32 mvBlockSize = 0;
    quint32 mvBytesRead = 0;
    QString mvName;
    QString mvPeerAddress;
    quint32 mvBytesSent = 0;
    quint32 mvBytesReceived = 0;
    bool mvBandwidthMeasurementEnabled = false;
    quint32 mvBandwidthMeasurementInterval = 1000;
    QTimer* mvpBandwidthTimer;
    QElapsedTimer mvBlockReadTimer;
    QElapsedTimer mvAliveTimer;
    QTimer* mvpSendAliveTimer;
    QTimer* mvpCheckAliveTimer;
    qint64 mvLastReadTime = 0;
};

#endif
