#include "vpn/Common/ILogger.h"

ILogger::~ILogger() = default;
