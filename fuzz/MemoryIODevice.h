#ifndef MEMORYIODEVICE_H
#define MEMORYIODEVICE_H

#include "UBXIODevice.h"

#include <QByteArray>

// A UBXIODevice in memory, for driving a message stream without sockets:
// appended bytes become readable, written bytes are collected. It records
// every read that asks for more than is there, which a socket would answer
// short and a stream must never need.
class MemoryIODevice : public UBXIODevice
{
public:
    MemoryIODevice();

    // Makes the bytes readable and announces them with sgReadyRead().
    void mpAppend(const QByteArray& aData);
    // Announces nothing new; a stream must not read more than is there.
    void mpNotify();

    QByteArray mfWritten() const { return mvWritten; }
    qint64 mfBytesConsumed() const { return mvConsumed; }
    bool mfHasOverRead() const { return mvOverRead; }

    qint64 mfWrite(const QByteArray& aData) override;
    qint64 mfWrite(const char* apData, qint64 aLength) override;
    qint64 mfBytesAvailable() override;
    bool mfIsReserved() override;
    qint64 mfRead(char* apData, qint64 aMaxSize) override;
    QByteArray mfRead(qint64 aMaxSize) override;
    QByteArray mfReadAll() override;
    bool mfFlush() override;

private:
    qint64 mfTake(char* apData, qint64 aMaxSize);

    QByteArray mvPending;
    qint64 mvReadPosition = 0;
    qint64 mvConsumed = 0;
    bool mvOverRead = false;
    QByteArray mvWritten;
};

#endif
