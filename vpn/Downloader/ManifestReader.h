#pragma once

#include "vpn/Api/xml/XmlIfcMgr.h"
#include "vpn/Common/AppLog.h"
#include "vpn/Downloader/ManifestVocabulary.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class NVAttributes;
class XmlElement;

/// Makes the entries of a manifest while its document is parsed. Each element is read when the next one starts, and
/// given back at once, so that a large document never lies in memory as elements. One that nothing follows is only
/// looked at as the child of an entry: existing manifests rely on that.
///
/// Whether a document is well-formed, and has more than two elements, its end decides. Until then nothing is logged,
/// and of what is wrong with the elements the first fault is kept, behind which nothing more is read.
///
/// One object serves one parse.
class ManifestReader : public XmlIfcMgr
{
public:
    using Entries = std::vector<std::unique_ptr<ManifestFileInfo>>;

    /// With `skipFirstElement` the root is the document's second element; with `honourServiceType` the "service-type"
    /// of profiles counts.
    ManifestReader(bool skipFirstElement, bool honourServiceType);
    ~ManifestReader() override;

    void addElement(const std::string& name) override;

    /// The number of elements so far.
    std::size_t elementCount() const { return m_count; }

    /// To be called once, behind a parse that succeeded and brought more than two elements: the entries in document
    /// order, as they were read, up to the first fault.
    Entries& finish();

    /// Logs the first fault. False when there is none.
    bool logFault() const;

private:
    struct Fault
    {
        unsigned line;
        Logging::DebugImportance importance;
        std::string text;
    };

    void read(XmlElement& element);
    void readRoot(const NVAttributes& attributes, std::string_view name);
    void readFile(const NVAttributes& attributes, std::string_view name);
    bool readChild(XmlElement& element);
    bool readAttributes(const NVAttributes& attributes, ManifestFileInfo& entry);
    bool readServiceType(const NVAttributes& attributes, ManifestFileInfo& entry);
    bool readType(std::string_view word, ManifestFileInfo& entry);
    bool fail(unsigned line, Logging::DebugImportance importance, std::string text);

    bool m_skipFirstElement;
    bool m_honourServiceType;
    std::size_t m_count = 0;
    /// The last of them is open: children may follow.
    Entries m_entries;
    std::optional<Fault> m_fault;
};
