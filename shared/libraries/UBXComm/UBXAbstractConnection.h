#ifndef UBXABSTRACTCONNECTION_H
#define UBXABSTRACTCONNECTION_H

#include "UBXCommExport.h"
#include "UBXIODevice.h"

// A byte device that can also connect and tell its connection state: the
// transport of the block protocol (UBXConnection).
class UBXCOMM_EXPORT UBXAbstractConnection : public UBXIODevice
{
    Q_OBJECT
public:
    explicit UBXAbstractConnection(QObject* apParent = nullptr);
    ~UBXAbstractConnection() override;

    virtual bool mfIsConnected() = 0;
    virtual void gpConnect() = 0;
    virtual void gpDisconnect() = 0;
    virtual QString mfGetPeerAddress() = 0;

Q_SIGNALS:
    void sgConnected();
    void sgDisconnected();
    void sgError(QString aError);
};

#endif
