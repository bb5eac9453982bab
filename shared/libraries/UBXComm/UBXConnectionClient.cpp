#include "UBXConnectionClient.h"

UBXConnectionClient::UBXConnectionClient(QObject* apParent) : QObject(apParent) {}

UBXConnectionClient::~UBXConnectionClient() = default;
