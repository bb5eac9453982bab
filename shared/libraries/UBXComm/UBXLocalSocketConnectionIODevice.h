#ifndef UBXLOCALSOCKETCONNECTIONIODEVICE_H
#define UBXLOCALSOCKETCONNECTIONIODEVICE_H

#include "UBXCommExport.h"
#include "UBXIODevice.h"

class QLocalSocket;

// A UBXIODevice over a local socket. The socket stays owned by the caller and
// must outlive this wrapper.
class UBXCOMM_EXPORT UBXLocalSocketConnectionIODevice : public UBXIODevice
{
    Q_OBJECT
public:
    explicit UBXLocalSocketConnectionIODevice(QLocalSocket* apSocket);
    ~UBXLocalSocketConnectionIODevice() override;

    qint64 mfWrite(const QByteArray& aData) override;
    qint64 mfWrite(const char* apData, qint64 aLength) override;
    qint64 mfBytesAvailable() override;
    bool mfIsReserved() override;
    qint64 mfRead(char* apData, qint64 aMaxSize) override;
    QByteArray mfRead(qint64 aMaxSize) override;
    QByteArray mfReadAll() override;
    bool mfFlush() override;

private:
    QLocalSocket* mvSocket;
};

#endif
