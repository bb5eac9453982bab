#include "UBXIODevice.h"

UBXIODevice::UBXIODevice(QObject* apParent) : QObject(apParent) {}

UBXIODevice::~UBXIODevice() = default;
