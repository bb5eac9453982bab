#ifndef UBXTCPSOCKET_H
#define UBXTCPSOCKET_H

#include "UBXCommExport.h"

#include <QTcpSocket>

// The library's own TCP socket type: network connections create it for
// outgoing connections, the connection server for accepted ones.
class UBXCOMM_EXPORT UBXTcpSocket : public QTcpSocket
{
    Q_OBJECT
public:
    explicit UBXTcpSocket(QObject* apParent);
    ~UBXTcpSocket() override;
};

#endif
