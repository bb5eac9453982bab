#include "UBXAbstractConnection.h"

UBXAbstractConnection::UBXAbstractConnection(QObject* apParent) : UBXIODevice(apParent) {}

UBXAbstractConnection::~UBXAbstractConnection() = default;
