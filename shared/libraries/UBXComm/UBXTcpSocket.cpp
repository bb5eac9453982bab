#include "UBXTcpSocket.h"

UBXTcpSocket::UBXTcpSocket(QObject* apParent) : QTcpSocket(apParent) {}

UBXTcpSocket::~UBXTcpSocket() = default;
