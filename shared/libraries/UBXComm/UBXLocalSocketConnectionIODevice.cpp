#include "UBXLocalSocketConnectionIODevice.h"

#include <QLocalSocket>

UBXLocalSocketConnectionIODevice::UBXLocalSocketConnectionIODevice(QLocalSocket* apSocket)
    : UBXIODevice(nullptr), mvSocket(apSocket)
{
    connect(mvSocket, &QLocalSocket::readyRead, this, &UBXIODevice::sgReadyRead);
}

UBXLocalSocketConnectionIODevice::~UBXLocalSocketConnectionIODevice() = default;

qint64 UBXLocalSocketConnectionIODevice::mfWrite(const QByteArray& aData)
{
    return mvSocket->write(aData);
}

qint64 UBXLocalSocketConnectionIODevice::mfWrite(const char* apData, qint64 aLength)
{
    return mvSocket->write(apData, aLength);
}

qint64 UBXLocalSocketConnectionIODevice::mfBytesAvailable()
{
    return mvSocket->bytesAvailable();
}

bool UBXLocalSocketConnectionIODevice::mfIsReserved()
{
    return false;
}

qint64 UBXLocalSocketConnectionIODevice::mfRead(char* apData, qint64 aMaxSize)
{
    return mvSocket->read(apData, aMaxSize);
}

QByteArray UBXLocalSocketConnectionIODevice::mfRead(qint64 aMaxSize)
{
    return mvSocket->read(aMaxSize);
}

QByteArray UBXLocalSocketConnectionIODevice::mfReadAll()
{
    return mvSocket->readAll();
}

bool UBXLocalSocketConnectionIODevice::mfFlush()
{
    return mvSocket->flush();
}
