#include "vpn/Common/Xml/XmlMgr.h"

XmlMgr::~XmlMgr() = default;
