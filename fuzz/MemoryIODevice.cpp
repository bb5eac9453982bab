#include "MemoryIODevice.h"

MemoryIODevice::MemoryIODevice() : UBXIODevice(nullptr) {}

void MemoryIODevice::mpAppend(const QByteArray& aData)
{
    mvBytes.mpAppend(aData);
    Q_EMIT sgReadyRead();
}

void MemoryIODevice::mpNotify()
{
    Q_EMIT sgReadyRead();
}

qint64 MemoryIODevice::mfWrite(const QByteArray& aData)
{
    return mfWrite(aData.constData(), aData.size());
}

qint64 MemoryIODevice::mfWrite(const char* apData, qint64 aLength)
{
    mvBytes.mpWrite(apData, aLength);
    return aLength;
}

qint64 MemoryIODevice::mfBytesAvailable()
{
    return mvBytes.mfAvailable();
}

bool MemoryIODevice::mfIsReserved()
{
    return false;
}

qint64 MemoryIODevice::mfRead(char* apData, qint64 aMaxSize)
{
    return mvBytes.mfTake(apData, aMaxSize);
}

QByteArray MemoryIODevice::mfRead(qint64 aMaxSize)
{
    return mvBytes.mfTake(aMaxSize);
}

QByteArray MemoryIODevice::mfReadAll()
{
    return mvBytes.mfTake(mvBytes.mfAvailable());
}

bool MemoryIODevice::mfFlush()
{
    return true;
}
