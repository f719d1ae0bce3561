#include "vpn/Common/Xml/XmlParser.h"

#include "vpn/Common/AppLog.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/SecureString.h"

std::uint32_t XmlParser::invokeParser(const std::string& input, bool /*flag*/, XmlParserInputType type)
{
    if (m_sink == nullptr) {
        CAppLog::LogDebugMessage("invokeParser", "../../../../vpn/Common/Xml/XmlParser", 70, Logging::DI_ERROR,
                                 "XML Manager not provided");
        return StatusCode::OperationFailed;
    }
    QrnSaxParser parser(m_sink);
    if (input.find('\0') == std::string::npos) {
        return parser.startParser(input, type);
    }
    const SecureString<std::string> text(input);
    return parser.startParser(text, type);
}

std::uint32_t XmlParser::parseXml(const std::string& xmlText, bool flag)
{
    return invokeParser(xmlText, flag, XmlInputBuffer);
}

std::uint32_t XmlParser::parseFile(const std::string& path, bool flag)
{
    return invokeParser(path, flag, XmlInputFile);
}
