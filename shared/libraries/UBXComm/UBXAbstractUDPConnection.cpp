#include "UBXAbstractUDPConnection.h"

UBXAbstractUDPConnection::UBXAbstractUDPConnection(QObject* apParent) : QObject(apParent) {}

UBXAbstractUDPConnection::~UBXAbstractUDPConnection() = default;
