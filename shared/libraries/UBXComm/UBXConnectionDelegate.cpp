#include "UBXConnectionDelegate.h"

UBXConnectionDelegate::~UBXConnectionDelegate() = default;
