#include "UBXIncomingConnectionHandler.h"

UBXIncomingConnectionHandler::~UBXIncomingConnectionHandler() = default;
