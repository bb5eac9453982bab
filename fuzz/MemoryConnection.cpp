#include "MemoryConnection.h"

#include <QThread>

#include <cstring>

MemoryConnection::MemoryConnection(bool abConnected)
    : UBXAbstractConnection(nullptr), mvConnected(abConnected)
{}

void MemoryConnection::mpAppend(const QByteArray& aData)
{
    // Drop what was read so a long feed does not keep every byte alive.
    mvPending.remove(0, mvReadPosition);
    mvReadPosition = 0;
    mvPending.append(aData);
    Q_EMIT sgReadyRead();
}

void MemoryConnection::mpSetConnected(bool abConnected)
{
    mvConnected = abConnected;
    if (abConnected)
        Q_EMIT sgConnected();
    else
        Q_EMIT sgDisconnected();
}

qint64 MemoryConnection::mfWrite(const QByteArray& aData)
{
    return mfWrite(aData.constData(), aData.size());
}

qint64 MemoryConnection::mfWrite(const char* apData, qint64 aLength)
{
    mvLastWriteThread = QThread::currentThread();
    mvWritten.append(apData, aLength);
    return aLength;
}

qint64 MemoryConnection::mfBytesAvailable()
{
    return mvPending.size() - mvReadPosition;
}

bool MemoryConnection::mfIsReserved()
{
    return false;
}

qint64 MemoryConnection::mfRead(char* apData, qint64 aMaxSize)
{
    return mfTake(apData, aMaxSize);
}

QByteArray MemoryConnection::mfRead(qint64 aMaxSize)
{
    QByteArray lData(qMin(aMaxSize, mfBytesAvailable()), Qt::Uninitialized);
    mfTake(lData.data(), aMaxSize);
    return lData;
}

QByteArray MemoryConnection::mfReadAll()
{
    return mfRead(mfBytesAvailable());
}

bool MemoryConnection::mfFlush()
{
    return true;
}

bool MemoryConnection::mfIsConnected()
{
    return mvConnected;
}

void MemoryConnection::gpConnect()
{
    mpSetConnected(true);
}

void MemoryConnection::gpDisconnect()
{
    mpSetConnected(false);
}

QString MemoryConnection::mfGetPeerAddress()
{
    return QStringLiteral("memory");
}

qint64 MemoryConnection::mfTake(char* apData, qint64 aMaxSize)
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
