#include "UBXConnectionDataBlockEvent.h"

UBXConnectionDataBlockEvent::UBXConnectionDataBlockEvent(const QByteArray& aData, quint8 aType)
    : QEvent(cType), mvData(aData.constData(), aData.size()), mvType(aType)
{}

UBXConnectionDataBlockEvent::~UBXConnectionDataBlockEvent() = default;
