#ifndef UBXABSTRACTUDPCONNECTION_H
#define UBXABSTRACTUDPCONNECTION_H

#include "UBXCommExport.h"

#include <QObject>

// A datagram channel to one remote port.
class UBXCOMM_EXPORT UBXAbstractUDPConnection : public QObject
{
    Q_OBJECT
public:
    explicit UBXAbstractUDPConnection(QObject* apParent = nullptr);
    ~UBXAbstractUDPConnection() override;

    // True when the whole datagram was written.
    virtual bool gfSendDatagram(const char* apData, qint64 aLength) = 0;
    // True when a datagram was read into apBuffer; aSize is then its length.
    // A datagram larger than aBufferSize stays pending and aSize tells its
    // length, so the caller can retry with a larger buffer; with nothing
    // pending aSize is 0.
    virtual bool gfReadDatagram(char* apBuffer, qint64 aBufferSize, qint64& aSize) = 0;

Q_SIGNALS:
    void sgDatagramAvailable();
};

#endif
