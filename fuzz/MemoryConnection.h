#ifndef MEMORYCONNECTION_H
#define MEMORYCONNECTION_H

#include "MemoryBytes.h"
#include "UBXAbstractConnection.h"

class QThread;

// A UBXAbstractConnection in memory (see MemoryBytes), for driving a block
// connection without sockets. It also records the thread of the last write.
class MemoryConnection : public UBXAbstractConnection
{
public:
    explicit MemoryConnection(bool abConnected);

    // Makes the bytes readable and announces them with sgReadyRead().
    void mpAppend(const QByteArray& aData);
    // Changes the state and emits sgConnected() or sgDisconnected().
    void mpSetConnected(bool abConnected);

    QByteArray mfWritten() const { return mvBytes.mfWritten(); }
    qint64 mfBytesConsumed() const { return mvBytes.mfConsumed(); }
    bool mfHasOverRead() const { return mvBytes.mfHasOverRead(); }
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
    bool mvConnected;
    MemoryBytes mvBytes;
    QThread* mvLastWriteThread = nullptr;
};

#endif
