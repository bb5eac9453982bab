#include "UBXConnectionMessageEvent.h"

UBXConnectionMessageEvent::UBXConnectionMessageEvent(const QString& aMessage)
    : QEvent(cType), mvMessage(aMessage)
{}

UBXConnectionMessageEvent::~UBXConnectionMessageEvent() = default;
