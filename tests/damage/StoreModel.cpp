#include "tests/damage/StoreModel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tests/support/Bytes.h"
#include "tests/support/LogTexts.h"
#include "vpn/Common/ManifestFileType.h"

namespace obg::test {

namespace {

enum class Took
{
    All,
    TooLittle,
    Failed
};

class Loading
{
public:
    Loading(std::string_view bytes, Behind behind) : m_bytes(bytes), m_behind(behind) {}

    ModelStore result()
    {
        if (!header() || !records()) {
            m_store.entries.clear();
        }
        return m_store;
    }

private:
    Took take(std::size_t size, std::string_view& bytes)
    {
        if (m_bytes.size() - m_at < size) {
            m_at = m_bytes.size();
            return m_behind == Behind::EndOfFile ? Took::TooLittle : Took::Failed;
        }
        bytes = m_bytes.substr(m_at, size);
        m_at += size;
        return Took::All;
    }

    Took integer(std::uint32_t& value)
    {
        std::string_view bytes;
        const Took took = take(4, bytes);
        if (took == Took::Failed) {
            logCall("readManifestData", 529, "fstream::read", EIO, std::strerror(EIO));
        }
        if (took == Took::All) {
            value = 0;
            for (int i = 3; i >= 0; --i) {
                value = value * 256 + static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
            }
        }
        return took;
    }

    bool text(std::string& value)
    {
        std::uint32_t count = 0;
        const Took took = integer(count);
        if (took == Took::Failed) {
            logField("readManifestData", 561);
        }
        if (took != Took::All) {
            return false;
        }
        if (count == 0) {
            logField("readManifestData", 571);
            return false;
        }
        std::string_view bytes;
        const Took tookBytes = take(count, bytes);
        if (tookBytes != Took::All) {
            const int error = tookBytes == Took::Failed ? EIO : 0;
            logCall("readManifestData", 585, "fstream::read", static_cast<std::uint32_t>(error), std::strerror(error));
            return false;
        }
        value = bytes.substr(0, std::min<std::size_t>(bytes.find('\0'), count - 1));
        return true;
    }

    bool header()
    {
        std::uint32_t major = 0;
        std::uint32_t minor = 0;
        if (integer(major) != Took::All) {
            return logField("loadInstalledFileData", 279);
        }
        if (integer(minor) != Took::All) {
            return logField("loadInstalledFileData", 288);
        }
        if (major > 1 || (major == 1 && minor != 0)) {
            return logWarning(300, "Unsupported manifest version");
        }
        return true;
    }

    bool records()
    {
        for (;;) {
            std::uint32_t type = 0;
            const Took took = integer(type);
            if (took == Took::TooLittle) {
                return true;
            }
            if (took == Took::Failed) {
                return logField("loadInstalledFileData", 320);
            }
            if (!record(type)) {
                return false;
            }
        }
    }

    bool record(std::uint32_t type)
    {
        if (findFileKind(type) == nullptr) {
            logWarning(393, "Unknown file type " + std::to_string(static_cast<std::int32_t>(type)));
            return true;
        }
        ModelEntry entry{type, "", ""};
        if (!text(entry.version)) {
            return logField("loadInstalledFileData", isStored(type) ? 375 : 347);
        }
        if (!text(entry.fileId)) {
            return logField("loadInstalledFileData", isStored(type) ? 383 : 355);
        }
        if (isStored(type)) {
            keep(entry);
        }
        return true;
    }

    void keep(const ModelEntry& entry)
    {
        for (ModelEntry& known : m_store.entries) {
            if (known.fileId == entry.fileId) {
                known = entry;
                return;
            }
        }
        m_store.entries.push_back(entry);
    }

    void logCall(const char* function, int line, const char* invoked, std::uint32_t code, const char* description)
    {
        m_store.logged.push_back({'E', returnCodeText(function, sourceTag("vpn/Common/InstalledManifestInfo"), line,
                                                      invoked, code, description, "")});
    }

    bool logField(const char* function, int line)
    {
        logCall(function, line, "CInstalledManifestInfo::readManifestData", 0xFE000002, "unknown");
        return false;
    }

    bool logWarning(int line, const std::string& text)
    {
        m_store.logged.push_back(
            {'W', debugText("loadInstalledFileData", sourceTag("vpn/Common/InstalledManifestInfo"), line, text)});
        return false;
    }

    std::string_view m_bytes;
    Behind m_behind;
    std::size_t m_at = 0;
    ModelStore m_store;
};

} // namespace

ModelStore modelLoad(std::string_view bytes, Behind behind)
{
    return Loading(bytes, behind).result();
}

ModelFile modelWrite(const std::vector<ModelEntry>& entries)
{
    ModelFile file{storeHeader(), {}};
    for (const ModelEntry& entry : entries) {
        file.bytes += u32le(entry.type) + (entry.version.empty() ? "" : field(entry.version)) +
                      (entry.version.empty() || entry.fileId.empty() ? "" : field(entry.fileId));
        if (entry.version.empty() || entry.fileId.empty()) {
            file.logged.push_back(
                {'E', returnCodeText("WriteFile", sourceTag("vpn/Common/InstalledManifestInfo"), 494,
                                     "CInstalledManifestInfo::writeManifestData", 0xFE000002, "unknown", "")});
        }
    }
    return file;
}

} // namespace obg::test
