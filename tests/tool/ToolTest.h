#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/Bytes.h"
#include "tests/support/Files.h"
#include "tests/support/LogTexts.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/ToolRun.h"

// What the tests of the whole program share: runs on the two install roots, and the log lines that it prints, as
// ToolResult::messages() gives them.

namespace obg::test {

/** Runs the tool on the install roots, each test with two empty ones. */
class ToolTest : public InstallRootsTest
{
protected:
    ToolResult install(const std::string& manifest) const { return ToolRun({"-i", kCurrentRoot, manifest}).run(); }
    ToolResult strike(const std::string& manifest) const { return ToolRun({"-x", kCurrentRoot, manifest}).run(); }

    /** The same with the manifest's text. */
    ToolResult installText(const std::string& text) const { return install(manifestFile(text)); }
    ToolResult strikeText(const std::string& text) const { return strike(manifestFile(text)); }

    /** A file that holds this manifest. */
    std::string manifestFile(const std::string& text) const { return m_scratch.write("manifest.xml", text); }

    /** A path in a folder that goes away with the test. */
    std::string scratchPath(const std::string& name) const { return m_scratch.path(name); }

private:
    ScratchFolder m_scratch;
};

/** A manifest of these elements. */
inline std::string vpn(const std::string& elements)
{
    return "<vpn rev=\"1.0\">" + elements + "</vpn>";
}

/** One entry with a uri, so that it is always looked at. */
inline std::string file(const std::string& id, const std::string& type, const std::string& version)
{
    return "<file id=\"" + id + "\" type=\"" + type + "\" version=\"" + version + "\"><uri>packages/" + id +
           ".bin</uri></file>";
}

/** Numbers of the kinds, as the store keeps them. */
enum Kind : std::uint32_t
{
    kMsi = 1,
    kExe = 2,
    kScript = 4,
    kTransform = 9,
    kDmg = 13,
    kRpm = 17,
    kDeb = 18
};

// Lines of the driver.

inline std::string legacyStoreUsed()
{
    return "[NOTICE] " + oneLine(debugText("main", "../main", 87, "using tessellink VPNManifest.dat"));
}

inline std::string manifestNotParsed()
{
    return "[ERROR] " + oneLine(debugText("main", "../main", 98, "Failed to parse input manifest"));
}

inline std::string storeNotWritten()
{
    return "[ERROR] " + oneLine(returnCodeText("main", "../main", 128, "CInstalledManifestInfo::WriteFile", 0xFE000009,
                                               "unknown", ""));
}

// Lines of the manifest's reader.

inline std::string manifestError(const std::string& function, const std::string& text)
{
    return "[ERROR] " + oneLine(debugText(function, sourceTag("vpn/Downloader/ManifestInfo"), kAnyLine, text));
}

inline std::string manifestWarning(const std::string& function, const std::string& text)
{
    return "[WARNING] " + oneLine(debugText(function, sourceTag("vpn/Downloader/ManifestInfo"), kAnyLine, text));
}

inline std::string manifestCallFailed(const std::string& function, const std::string& invoked, std::uint32_t code,
                                      const std::string& description)
{
    return "[ERROR] " + oneLine(returnCodeText(function, sourceTag("vpn/Downloader/ManifestInfo"), kAnyLine, invoked,
                                               code, description, ""));
}

/** The size of the manifest could not be had, or is none that can be read. */
inline std::string manifestWithoutSize()
{
    return manifestCallFailed("readManifestFile", "CManifestInfo::fileCbSize", 0xFE000002, "unknown");
}

/** The two lines that close every failure of the XML reader. */
inline std::string xmlDocumentFailed()
{
    return "[ERROR] " + oneLine(returnCodeText("startParser", sourceTag("vpn/Common/Xml/QrnSaxParser"), 225,
                                               "xmlParseDocument", 0xFFFFFFFF, "unknown", ""));
}

inline std::string xmlNotParsed()
{
    return manifestCallFailed("parseManifestFile", "XmlParser::parseXml", 0xFE000009, "unknown");
}

/** One complaint of libxml2; its messages end in a line feed, which the log turns into a blank. */
inline std::string xmlComplaint(const std::string& message)
{
    return "[ERROR] " + oneLine(debugText("errorCB", sourceTag("vpn/Common/Xml/QrnSaxParser"), 135,
                                          "xml errorCB: " + message + "\n"));
}

// Lines of the store.

inline std::string storeCallFailed(const std::string& function, int line, const std::string& invoked,
                                   std::uint32_t code, const std::string& description)
{
    return "[ERROR] " + oneLine(returnCodeText(function, sourceTag("vpn/Common/InstalledManifestInfo"), line, invoked,
                                               code, description, ""));
}

/** A field of the store could not be read. */
inline std::string fieldNotRead(const std::string& function, int line)
{
    return storeCallFailed(function, line, "CInstalledManifestInfo::readManifestData", 0xFE000002, "unknown");
}

/** A field of the store could not be written. */
inline std::string fieldNotWritten(const std::string& function, int line)
{
    return storeCallFailed(function, line, "CInstalledManifestInfo::writeManifestData", 0xFE000002, "unknown");
}

inline std::string storeWarning(int line, const std::string& text)
{
    return "[WARNING] " +
           oneLine(debugText("loadInstalledFileData", sourceTag("vpn/Common/InstalledManifestInfo"), line, text));
}

/** The run printed exactly these lines, in this order. */
inline ::testing::Matcher<const std::vector<std::string>&> linesAre(const std::vector<std::string>& expected)
{
    std::vector<::testing::Matcher<std::string>> lines;
    for (const std::string& line : expected) {
        lines.emplace_back(LogTextIs(line));
    }
    return ::testing::ElementsAreArray(lines);
}

} // namespace obg::test
