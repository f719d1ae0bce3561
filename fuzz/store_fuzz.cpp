// The installed-manifest store, loaded, edited, written and loaded again, against a plain model of its file.
// Input: lines that edit the store, an empty line, then the bytes of the store's file.
//     +TV I   records the file id I with the version V and the type whose number is that of T above that of "0"
//     -I      strikes the file id I

#include "fuzz/support/Input.h"
#include "fuzz/support/PrivateMachine.h"
#include "fuzz/support/Require.h"
#include "fuzz/support/SmallFile.h"
#include "vpn/Common/InstalledManifestInfo.h"
#include "vpn/Common/InstalledManifestReader.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <sstream>
#include <vector>

namespace {

using obg::test::Input;
using obg::test::require;

// Of the legacy root, which the query for the old release reads as well.
constexpr const char* kStore = "/opt/orvanta/tessellink/VPNManifest.dat";

struct Entry
{
    std::string id;
    std::uint32_t type;
    std::string version;
};

using Entries = std::vector<Entry>;

Entries::iterator find(Entries& entries, const std::string& id)
{
    return std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.id == id; });
}

void record(Entries& entries, const Entry& entry)
{
    const auto found = find(entries, entry.id);
    if (found == entries.end()) {
        entries.push_back(entry);
    } else {
        *found = entry;
    }
}

/// Takes numbers and texts off the front of a file's bytes; nothing when they are not all there.
class Bytes
{
public:
    explicit Bytes(const std::string& bytes) : m_bytes(bytes) {}

    std::optional<std::uint32_t> number()
    {
        if (m_bytes.size() - m_taken < 4) {
            return std::nullopt;
        }
        std::uint32_t value = 0;
        for (unsigned i = 0; i < 4; ++i) {
            value += std::uint32_t{static_cast<unsigned char>(m_bytes[m_taken++])} << (8 * i);
        }
        return value;
    }

    std::optional<std::string> text()
    {
        const std::optional<std::uint32_t> count = number();
        if (!count || *count == 0 || *count > m_bytes.size() - m_taken) {
            return std::nullopt;
        }
        const std::string taken = m_bytes.substr(m_taken, *count - 1);
        m_taken += *count;
        return obg::test::cutAtNul(taken);
    }

private:
    const std::string& m_bytes;
    std::size_t m_taken = 0;
};

/// What comes of loading a file.
struct Loaded
{
    Entries entries;
    InstalledManifestState state = InstalledManifestState::Damaged;
};

Loaded loaded(const std::string& file)
{
    Entries entries;
    Bytes bytes(file);
    const auto major = bytes.number();
    const auto minor = bytes.number();
    if (!major || !minor) {
        return {};
    }
    if (*major > 1 || (*major == 1 && *minor != 0)) {
        return {{}, InstalledManifestState::Unsupported};
    }
    auto state = InstalledManifestState::Good;
    while (const auto type = bytes.number()) {
        if (findFileKind(*type) == nullptr) {
            state = InstalledManifestState::Damaged;
            continue;
        }
        const auto version = bytes.text();
        const auto id = version ? bytes.text() : std::nullopt;
        if (!id) {
            return {};
        }
        if (isStored(*type)) {
            record(entries, {*id, *type, *version});
        }
    }
    return {entries, state};
}

void append(std::string& file, std::uint32_t number)
{
    for (unsigned i = 0; i < 4; ++i) {
        file += static_cast<char>(number >> (8 * i));
    }
}

bool append(std::string& file, const std::string& text)
{
    if (text.empty()) {
        return false;
    }
    append(file, static_cast<std::uint32_t>(text.size() + 1));
    file.append(text).append(1, '\0');
    return true;
}

/// No file at all for a store without entries.
std::optional<std::string> written(const Entries& entries)
{
    if (entries.empty()) {
        return std::nullopt;
    }
    std::string file;
    append(file, 1);
    append(file, 0);
    for (const Entry& entry : entries) {
        if (isStored(entry.type)) {
            append(file, entry.type);
            // The format has no empty text: a record ends at its first one.
            static_cast<void>(append(file, entry.version) && append(file, entry.id));
        }
    }
    return file;
}

void requireSame(const CInstalledManifestInfo& store, const Entries& entries)
{
    const auto pairs = store.GetInstalledEntries();
    require(pairs.size() == entries.size(), "as many entries as the model has");
    auto pair = pairs.begin();
    for (const Entry& entry : entries) {
        require(pair->first == entry.id && pair->second == entry.version, "ids and versions in the model's order");
        require(store.GetInstalledType(entry.id) == entry.type, "the model's type");
        require(store.GetInstalledVersion(entry.id) == entry.version, "the model's version by id");
        ++pair;
    }
}

/// The reader's steps cover the file's bytes from the header on, each once, up to the end or to what cannot be read.
void requireEveryByteRead(const std::string& file)
{
    using Step = CInstalledManifestReader::Step;
    std::istringstream stream(file);
    CInstalledManifestReader reader(stream);
    if (!reader.readHeader()) {
        require(reader.offset() == file.size() && file.size() < 8, "a header is cut only where the file ends");
        return;
    }
    InstalledManifestRecord record;
    for (;;) {
        const std::uint64_t begin = reader.offset();
        const Step step = reader.next(record);
        require(record.offset == begin, "a record begins where the one before it ends");
        require(reader.offset() <= file.size(), "no byte behind the file is read");
        if (step == Step::Failed) {
            const auto& failure = reader.failure();
            require(failure.offset >= begin + 4 && failure.offset <= file.size(), "a failure lies in its record");
            require(failure.error == 0, "no system call has failed");
            return;
        }
        if (step == Step::End) {
            require(reader.offset() == file.size() && file.size() - begin < 4, "all bytes but stray ones are read");
            return;
        }
        const std::uint64_t size = step == Step::UnknownType ? 4 : 12 + record.version.count + record.fileId.count;
        require(reader.offset() == begin + size, "a record is as long as its fields");
    }
}

void edit(CInstalledManifestInfo& store, Entries& entries, const std::string& line)
{
    Input words(reinterpret_cast<const std::uint8_t*>(line.data()), line.size());
    if (words.byte() == '-') {
        const std::string id = words.rest();
        store.RemoveInstalledEntry(id);
        const auto found = find(entries, id);
        if (found != entries.end()) {
            entries.erase(found);
        }
        require(store.GetInstalledType(id) == eFileTypeNone, "a struck id is gone");
        return;
    }
    const std::uint32_t type = static_cast<unsigned char>(words.byte() - '0');
    const std::string version = words.text(' ');
    const std::string id = words.rest();
    store.AddInstalledEntry(id, static_cast<ManifestFileType>(type), version);
    record(entries, {id, type, version});
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    obg::test::enterPrivateMachine();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    std::vector<std::string> edits;
    for (std::string line = input.text('\n'); !line.empty(); line = input.text('\n')) {
        edits.push_back(line);
    }
    const std::string file = input.rest();
    obg::test::writeFile(kStore, file);

    requireEveryByteRead(file);

    CInstalledManifestInfo store(eLegacyDataPath);
    auto [entries, state] = loaded(file);
    requireSame(store, entries);
    require(store.GetState() == state, "the model's state");
    for (const std::string& line : edits) {
        edit(store, entries, line);
    }
    requireSame(store, entries);

    require(store.WriteFile() == 0, "the store can be written");
    const std::optional<std::string> expected = written(entries);
    require(obg::test::readFile(kStore) == expected, "the file's bytes");
    require(!expected || store.GetFileBytes() == *expected, "the same bytes without the file");
    entries = loaded(expected.value_or(std::string())).entries;
    requireSame(CInstalledManifestInfo(eLegacyDataPath), entries);
    const auto core = find(entries, "VPNCore");
    // Looked at only then: this question loads the file once more.
    if (core != entries.end()) {
        require(CInstalledManifestInfo::IsInstalledVersionMarigoldOrEarlier() == !core->version.empty(),
                "the old release is one with a version");
    }
    return 0;
}
