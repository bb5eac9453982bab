#ifndef MEMORYCONNECTION_H
#define MEMORYCONNECTION_H

#include "UBXAbstractConnection.h"

#include <QByteArray>

class QThread;

// A UBXAbstractConnection in memory, for driving a block connection without
// sockets: appended bytes become readable, written bytes are collected. It
// records any read that asks for more than is there and the thread of the
// last write.
class MemoryConnection : public UBXAbstractConnection
{
public:
    explicit MemoryConnection(bool abConnected);

    // Makes the bytes readable and announces them with sgReadyRead().
    void mpAppend(const QByteArray& aData);
    // Changes the state and emits sgConnected() or sgDisconnected().
    void mpSetConnected(bool abConnected);

    QByteArray mfWritten() const { return mvWritten; }
    qint64 mfBytesConsumed() const { return mvConsumed; }
    bool mfHasOverRead() const { return mvOverRead; }
    QThread* mfLastWriteThread() const { return mvLastWriteThread; }

    qint64 mfWrite(const QByteArray& aData) override;
    qint64 mfWrite(const char* apData, qint64 aLength) override;
    qint64 mfBytesAvailable() override;
    bool mfIsReserved() override;
    qint64 mfRead(char* apData, qint64 aMaxSize) override;
    QByteArray mfRead(qint64 aMaxSize) override;
    QByteArray mfReadAll() override;
    bool mfFlush() override;

    bool mfIsConnected() override;
    void gpConnect() override;
    void gpDisconnect() override;
    QString mfGetPeerAddress() override;

private:
    qint64 mfTake(char* apData, qint64 aMaxSize);

    bool mvConnected;
    QByteArray mvPending;
    qint64 mvReadPosition = 0;
    qint64 mvConsumed = 0;
    bool mvOverRead = false;
    QByteArray mvWritten;
    QThread* mvLastWriteThread = nullptr;
};

#endif
