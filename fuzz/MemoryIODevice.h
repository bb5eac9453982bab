#ifndef MEMORYIODEVICE_H
#define MEMORYIODEVICE_H

#include "MemoryBytes.h"
#include "UBXIODevice.h"

// A UBXIODevice in memory (see MemoryBytes), for driving a message stream
// without sockets.
class MemoryIODevice : public UBXIODevice
{
public:
    MemoryIODevice();

    // Makes the bytes readable and announces them with sgReadyRead().
    void mpAppend(const QByteArray& aData);
    // Announces nothing new; a stream must not read more than is there.
    void mpNotify();

    QByteArray mfWritten() const { return mvBytes.mfWritten(); }
    qint64 mfBytesConsumed() const { return mvBytes.mfConsumed(); }
    bool mfHasOverRead() const { return mvBytes.mfHasOverRead(); }

    qint64 mfWrite(const QByteArray& aData) override;
    qint64 mfWrite(const char* apData, qint64 aLength) override;
    qint64 mfBytesAvailable() override;
    bool mfIsReserved() override;
    qint64 mfRead(char* apData, qint64 aMaxSize) override;
    QByteArray mfRead(qint64 aMaxSize) override;
    QByteArray mfReadAll() override;
    bool mfFlush() override;

private:
    MemoryBytes mvBytes;
};

#endif
