#include "vpn/Common/Xml/XmlWatcher.h"

XmlWatcher::~XmlWatcher() = default;
