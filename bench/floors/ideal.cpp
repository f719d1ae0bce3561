// The floor "ideal": the least work that leaves the right store. It picks id, type and version out of the parse, keeps
// one hash index and writes the store in one go. It checks nothing, logs nothing, wipes nothing and trusts its input;
// it knows the current root's store only and takes the tool's arguments.

#include "bench/floors/sax_parse.h"
#include "bench/floors/whole_file.h"
#include "vpn/Common/ManifestFileType.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const char* const kStorePath = "/opt/orvanta/brightgate/VPNManifest.dat";
constexpr std::uint32_t kHeader[2] = {1, 0};
struct Text
{
    char* bytes = nullptr;
    std::uint32_t size = 0; // with the closing NUL, as the store counts it
};

struct Entry
{
    Text id;
    Text version;
    std::uint32_t type = 0; // 0 once struck
};

struct Store
{
    Entry* entries = nullptr;
    std::uint32_t count = 0;
    std::uint32_t room = 0;
    std::uint32_t* slots = nullptr; // entry number + 1; 0 is a free slot; twice as many slots as room for entries
    char* arena = nullptr;
    std::size_t arenaLeft = 0;
    bool strike = false;
};

Text keep(Store& store, const char* bytes, std::size_t size)
{
    constexpr std::size_t kChunk = std::size_t{1} << 20;
    if (size > store.arenaLeft) {
        store.arenaLeft = size > kChunk ? size : kChunk;
        store.arena = static_cast<char*>(std::malloc(store.arenaLeft));
    }
    Text text{store.arena, static_cast<std::uint32_t>(size)};
    std::memcpy(text.bytes, bytes, size);
    store.arena += size;
    store.arenaLeft -= size;
    return text;
}

std::uint64_t hashOf(const char* bytes, std::size_t size)
{
    std::uint64_t hash = 0xcbf29ce484222325;
    for (std::size_t i = 0; i < size; ++i) {
        hash = (hash ^ static_cast<unsigned char>(bytes[i])) * 0x100000001b3;
    }
    return hash ^ (hash >> 32);
}

std::uint32_t* slotOf(const Store& store, const char* id, std::size_t size)
{
    const std::uint64_t mask = std::uint64_t{store.room} * 2 - 1;
    std::uint64_t at = hashOf(id, size) & mask;
    while (store.slots[at] != 0) {
        const Entry& entry = store.entries[store.slots[at] - 1];
        if (entry.id.size == size && std::memcmp(entry.id.bytes, id, size) == 0) {
            break;
        }
        at = (at + 1) & mask;
    }
    return &store.slots[at];
}

void grow(Store& store)
{
    store.room = store.room == 0 ? 64 : store.room * 2;
    store.entries = static_cast<Entry*>(std::realloc(store.entries, sizeof(Entry) * store.room));
    std::free(store.slots);
    store.slots = static_cast<std::uint32_t*>(std::calloc(std::size_t{store.room} * 2, sizeof(std::uint32_t)));
    for (std::uint32_t i = 0; i < store.count; ++i) {
        *slotOf(store, store.entries[i].id.bytes, store.entries[i].id.size) = i + 1;
    }
}

void record(Store& store, const char* id, std::size_t idSize, std::uint32_t type, const char* version,
            std::size_t versionSize)
{
    if (store.count == store.room) {
        grow(store);
    }
    std::uint32_t* slot = slotOf(store, id, idSize);
    if (*slot == 0) {
        store.entries[store.count] = Entry{keep(store, id, idSize), Text{}, 0};
        *slot = ++store.count;
    }
    Entry& entry = store.entries[*slot - 1];
    entry.type = type;
    if (entry.version.size != versionSize || std::memcmp(entry.version.bytes, version, versionSize) != 0) {
        entry.version = keep(store, version, versionSize);
    }
}

void strike(Store& store, const char* id, std::size_t idSize)
{
    if (store.count != 0) {
        const std::uint32_t* slot = slotOf(store, id, idSize);
        if (*slot != 0) {
            store.entries[*slot - 1].type = 0;
        }
    }
}

void onStartElement(void* context, const xmlChar* name, const xmlChar** attributes)
{
    if (attributes == nullptr || std::strcmp(reinterpret_cast<const char*>(name), "file") != 0) {
        return;
    }
    const char* id = "";
    const char* version = "";
    std::uint32_t type = 0;
    for (; *attributes != nullptr; attributes += 2) {
        const char* key = reinterpret_cast<const char*>(attributes[0]);
        const char* value = reinterpret_cast<const char*>(attributes[1]);
        if (std::strcmp(key, "id") == 0) {
            id = value;
        } else if (std::strcmp(key, "version") == 0) {
            version = value;
        } else if (std::strcmp(key, "type") == 0) {
            type = typeOfWord(value);
        }
    }
    Store& store = *static_cast<Store*>(static_cast<xmlParserCtxtPtr>(context)->_private);
    if (store.strike) {
        strike(store, id, std::strlen(id) + 1);
    } else {
        record(store, id, std::strlen(id) + 1, type, version, std::strlen(version) + 1);
    }
}

const char* takeNumber(const char* at, std::uint32_t& number)
{
    std::memcpy(&number, at, sizeof number);
    return at + sizeof number;
}

void load(Store& store, const WholeFile& file)
{
    const char* at = file.bytes.get() + sizeof kHeader;
    const char* end = file.bytes.get() + file.size;
    while (at < end) {
        std::uint32_t type = 0;
        std::uint32_t versionSize = 0;
        std::uint32_t idSize = 0;
        at = takeNumber(at, type);
        const char* version = takeNumber(at, versionSize);
        const char* id = takeNumber(version + versionSize, idSize);
        record(store, id, idSize, type, version, versionSize);
        at = id + idSize;
    }
}

bool isWritten(const Entry& entry)
{
    return isStored(entry.type);
}

char* putText(char* at, const Text& text)
{
    std::memcpy(at, &text.size, sizeof text.size);
    std::memcpy(at + sizeof text.size, text.bytes, text.size);
    return at + sizeof text.size + text.size;
}

bool save(const Store& store)
{
    bool any = false;
    std::size_t size = sizeof kHeader;
    for (std::uint32_t i = 0; i < store.count; ++i) {
        const Entry& entry = store.entries[i];
        any = any || entry.type != 0;
        size += isWritten(entry) ? 3 * sizeof(std::uint32_t) + entry.version.size + entry.id.size : 0;
    }
    if (!any) {
        std::remove(kStorePath);
        return true;
    }
    char* bytes = static_cast<char*>(std::malloc(size));
    std::memcpy(bytes, kHeader, sizeof kHeader);
    char* at = bytes + sizeof kHeader;
    for (std::uint32_t i = 0; i < store.count; ++i) {
        const Entry& entry = store.entries[i];
        if (isWritten(entry)) {
            std::memcpy(at, &entry.type, sizeof entry.type);
            at = putText(putText(at + sizeof entry.type, entry.version), entry.id);
        }
    }
    std::FILE* stream = std::fopen(kStorePath, "wb");
    if (stream == nullptr) {
        return false;
    }
    std::setvbuf(stream, nullptr, _IONBF, 0);
    const bool written = std::fwrite(bytes, 1, size, stream) == size;
    return std::fclose(stream) == 0 && written;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        return 2;
    }
    Store store;
    store.strike = std::strcmp(argv[1], "-x") == 0;
    const WholeFile old = readWholeFile(kStorePath);
    if (old.bytes) {
        load(store, old);
    }
    const WholeFile manifest = readWholeFile(argv[3]);
    if (!manifest.bytes || !parseWithSax1(manifest, onStartElement, &store)) {
        return 4;
    }
    return save(store) ? 0 : 5; // the process ends here, and with it everything it allocated
}
