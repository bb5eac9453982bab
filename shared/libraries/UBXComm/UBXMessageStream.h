#ifndef UBXMESSAGESTREAM_H
#define UBXMESSAGESTREAM_H

#include "UBXCommExport.h"

#include <QMetaObject>
#include <QObject>
#include <QString>
#include <QTime>

class UBXIODevice;

// Whole text messages over a UBXIODevice. On the wire each message is a
// two-byte big-endian length followed by that many bytes of UTF-8; a length of
// 0 is a protocol error. The stream is a child of its device and is driven only
// by the device's sgReadyRead() and the event loop, so it never blocks.
//
// Each call of mpOnDataAvailable() delivers at most one message and reads at
// most 65,535 bytes; messages that arrived together are drained one per
// event-loop pass. At most one payload buffer (up to 64 KiB) exists at a time.
class UBXCOMM_EXPORT UBXMessageStream : public QObject
{
    Q_OBJECT
public:
    // A null device is accepted (and logged) so that callers need no special
    // case; such a stream never reads nor writes.
    explicit UBXMessageStream(UBXIODevice* apDevice);
    ~UBXMessageStream() override;

    // Consumes bytes already waiting in the device at once. With
    // abStopAfterMessage the stream stops after the next complete message and
    // leaves whatever follows unread in the device.
    void mpStartListening(bool abStopAfterMessage);
    // A partly read message is kept and completed once listening resumes.
    void mpStopListening();

    // Fire and forget: neither flushes nor checks the device's write results.
    // The length field carries the low 16 bits of the UTF-8 size, so a text of
    // more than 65,535 bytes desynchronises the receiver.
    void gpSendMessage(const QString& aMessage);
    // Logs the receive state at level debug, for diagnosing stalled peers.
    void gpPrintStatus();

Q_SIGNALS:
    void sgMessageReceived(QString aMessage);
    // "Zero block encountered." or "Could not allocate memory for incoming
    // message."; the stream keeps listening and never closes the device.
    void sgErrorEncountered(QString aError);

public Q_SLOTS:
    void mpOnDataAvailable();

private:
    // Local time of day; invalid before the first bytes.
    QTime mfLastBytesReceivedAt() const;
    // Zero-length frame: discards up to 256 following bytes and reports them.
    void mpDiscardAfterZeroBlock(quint16 aBudget);

    UBXIODevice* mvDevice;
    char* mvBuffer = nullptr;
    bool mvReadingBlock = false;
    quint16 mvBlockSize = 0;
    quint16 mvBytesReceived = 0;
    bool mvListening = false;
    bool mvStopAfterMessage = false;
    // Milliseconds since the epoch, -1 before the first bytes. Kept in UTC and
    // turned into local time only for gpPrintStatus(): the local clock costs a
    // time-zone file check on every call.
    qint64 mvLastBytesReceivedAt = -1;
    QMetaObject::Connection mvReadyReadConnection;
};

#endif
