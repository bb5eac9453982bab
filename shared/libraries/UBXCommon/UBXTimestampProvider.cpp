#include "UBXTimestampProvider.h"

UBXTimestampProvider::~UBXTimestampProvider() = default;
