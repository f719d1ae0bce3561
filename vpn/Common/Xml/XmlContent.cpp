#include "vpn/Common/Xml/XmlContent.h"

#include "vpn/Common/AppLog.h"

void logNoElement(const char* function, const char* file, unsigned line)
{
    CAppLog::LogDebugMessage(function, file, line, Logging::DI_ERROR, "Called when no element is set");
}
