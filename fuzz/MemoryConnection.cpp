#include "MemoryConnection.h"

#include <QThread>

MemoryConnection::MemoryConnection(bool abConnected)
    : UBXAbstractConnection(nullptr), mvConnected(abConnected)
{}

void MemoryConnection::mpAppend(const QByteArray& aData)
{
    mvBytes.mpAppend(aData);
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
    mvBytes.mpWrite(apData, aLength);
    return aLength;
}

qint64 MemoryConnection::mfBytesAvailable()
{
    return mvBytes.mfAvailable();
}

bool MemoryConnection::mfIsReserved()
{
    return false;
}

qint64 MemoryConnection::mfRead(char* apData, qint64 aMaxSize)
{
    return mvBytes.mfTake(apData, aMaxSize);
}

QByteArray MemoryConnection::mfRead(qint64 aMaxSize)
{
    return mvBytes.mfTake(aMaxSize);
}

QByteArray MemoryConnection::mfReadAll()
{
    return mvBytes.mfTake(mvBytes.mfAvailable());
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
