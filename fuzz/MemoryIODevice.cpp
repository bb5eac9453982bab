#include "MemoryIODevice.h"

#include <cstring>

MemoryIODevice::MemoryIODevice() : UBXIODevice(nullptr) {}

void MemoryIODevice::mpAppend(const QByteArray& aData)
{
    // Drop what was read so a long feed does not keep every byte alive.
    mvPending.remove(0, mvReadPosition);
    mvReadPosition = 0;
    mvPending.append(aData);
    Q_EMIT sgReadyRead();
}

void MemoryIODevice::mpNotify()
{
    Q_EMIT sgReadyRead();
}

qint64 MemoryIODevice::mfWrite(const QByteArray& aData)
{
    mvWritten.append(aData);
    return aData.size();
}

qint64 MemoryIODevice::mfWrite(const char* apData, qint64 aLength)
{
    mvWritten.append(apData, aLength);
    return aLength;
}

qint64 MemoryIODevice::mfBytesAvailable()
{
    return mvPending.size() - mvReadPosition;
}

bool MemoryIODevice::mfIsReserved()
{
    return false;
}

qint64 MemoryIODevice::mfRead(char* apData, qint64 aMaxSize)
{
    return mfTake(apData, aMaxSize);
}

QByteArray MemoryIODevice::mfRead(qint64 aMaxSize)
{
    QByteArray lData(qMin(aMaxSize, mfBytesAvailable()), Qt::Uninitialized);
    mfTake(lData.data(), aMaxSize);
    return lData;
}

QByteArray MemoryIODevice::mfReadAll()
{
    return mfRead(mfBytesAvailable());
}

bool MemoryIODevice::mfFlush()
{
    return true;
}

qint64 MemoryIODevice::mfTake(char* apData, qint64 aMaxSize)
{
    if (aMaxSize > mfBytesAvailable())
        mvOverRead = true;
    const qint64 lCount = qMax<qint64>(0, qMin(aMaxSize, mfBytesAvailable()));
    if (lCount > 0)
        std::memcpy(apData, mvPending.constData() + mvReadPosition, static_cast<size_t>(lCount));
    mvReadPosition += lCount;
    mvConsumed += lCount;
    return lCount;
}
