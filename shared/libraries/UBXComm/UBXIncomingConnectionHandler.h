#ifndef UBXINCOMINGCONNECTIONHANDLER_H
#define UBXINCOMINGCONNECTIONHANDLER_H

#include "UBXCommExport.h"

#include <QString>

class UBXNetworkConnection;

// What a UBXConnectionServer offers each connection whose descriptor arrived.
class UBXCOMM_EXPORT UBXIncomingConnectionHandler
{
public:
    virtual ~UBXIncomingConnectionHandler();

    // True takes the connection over, and with it its ownership; the server
    // then asks no further handler.
    virtual bool gfHandleIncomingConnection(UBXNetworkConnection* apConnection,
                                            const QString& aDescriptor) = 0;
};

#endif
