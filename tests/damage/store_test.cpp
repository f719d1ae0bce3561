#include <algorithm>
#include <array>
#include <cerrno>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <sys/resource.h>

#include <gmock/gmock.h>

#include "tests/damage/StoreModel.h"
#include "tests/support/Bytes.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FailingReads.h"
#include "tests/support/Files.h"
#include "tests/support/PrivateMachine.h"
#include "tests/support/ToolRun.h"
#include "vpn/Common/InstalledManifestInfo.h"

// The damage matrix: stores of three records, cut at every byte, with every bit flipped, with hostile numbers at every
// place. What must load and what must be logged is what StoreModel says.

namespace obg::test {

namespace {

using ::testing::ElementsAreArray;
using ::testing::Matcher;

constexpr rlim_t kMemory = 256U << 20U;
constexpr std::array<std::uint32_t, 5> kHostileNumbers{0, 1, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

// A program under the address or the thread sanitizer reserves terabytes before its first line runs.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kReservesTerabytes = true;
#elif defined(__has_feature)
constexpr bool kReservesTerabytes = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kReservesTerabytes = false;
#endif

/** For the scope, this process may not have more than kMemory of address space. */
class LittleMemory
{
public:
    LittleMemory()
    {
        getrlimit(RLIMIT_AS, &m_before);
        if (!kReservesTerabytes) {
            const rlimit limit{kMemory, m_before.rlim_max};
            EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
        }
    }
    ~LittleMemory() { setrlimit(RLIMIT_AS, &m_before); }
    LittleMemory(const LittleMemory&) = delete;
    LittleMemory& operator=(const LittleMemory&) = delete;

private:
    rlimit m_before{};
};

/** A store, whole, and where its integers stand. */
struct Subject
{
    std::string name;
    std::string bytes;
    std::set<std::size_t> fields;
};

void PrintTo(const Subject& subject, std::ostream* stream)
{
    *stream << subject.name;
}

Subject subject(const std::string& name, std::uint32_t major, std::uint32_t minor,
                const std::vector<ModelEntry>& records)
{
    Subject made{name, storeHeader(major, minor), {0, 4}};
    for (const ModelEntry& record : records) {
        const std::size_t at = made.bytes.size();
        made.fields.insert({at, at + 4, at + 8 + record.version.size() + 1});
        made.bytes += storeRecord(record.type, record.version, record.fileId);
    }
    return made;
}

const std::array kSubjects{
    subject("threeKept", 1, 0, {{2, "5.1.2.42", "VPNCore"}, {18, "4", "posture"}, {4, "1.0", "OnConnect"}}),
    subject("oneDropped", 1, 0, {{1, "1", "a"}, {9, "2.0.1", "fonts"}, {17, "5.1", "core-rpm"}}),
    subject("oneIdTwice", 0, 77, {{13, "1", "same"}, {2, "2", "b"}, {1, "3", "same"}}),
};

/** Every way to damage a store, each with a name that says where. */
std::vector<std::pair<std::string, std::string>> damages(const Subject& subject)
{
    const std::string& whole = subject.bytes;
    std::vector<std::pair<std::string, std::string>> damaged;
    for (std::size_t size = 0; size <= whole.size(); ++size) {
        damaged.emplace_back("cut to " + std::to_string(size) + " bytes", whole.substr(0, size));
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        damaged.emplace_back("bit " + std::to_string(bit % 8) + " of byte " + std::to_string(bit / 8), bytes);
    }
    // At every offset, so at every field too.
    for (std::size_t at = 0; at + 4 <= whole.size(); ++at) {
        for (const std::uint32_t number : kHostileNumbers) {
            std::string bytes = whole;
            damaged.emplace_back(std::to_string(number) + " at byte " + std::to_string(at),
                                 bytes.replace(at, 4, u32le(number)));
        }
    }
    return damaged;
}

std::vector<Matcher<const LogRecord&>> recordsOf(const ModelStore& model)
{
    std::vector<Matcher<const LogRecord&>> records;
    for (const ModelRecord& record : model.logged) {
        records.push_back(record.importance == 'E' ? Matcher<const LogRecord&>(IsReturnCode('E', record.text))
                                                   : Matcher<const LogRecord&>(IsDebugMessage('W', record.text)));
    }
    return records;
}

std::vector<ModelEntry> entriesOf(const CInstalledManifestInfo& store)
{
    std::vector<ModelEntry> entries;
    for (const auto& [fileId, version] : store.GetInstalledEntries()) {
        entries.push_back({store.GetInstalledType(fileId), version, fileId});
    }
    return entries;
}

/** The state of a store that could be read. */
InstalledManifestState stateOf(const ModelStore& model)
{
    if (model.logged.empty()) {
        return InstalledManifestState::Good;
    }
    const bool isOtherVersion = model.logged[0].text.find("Unsupported manifest version") != std::string::npos;
    return isOtherVersion ? InstalledManifestState::Unsupported : InstalledManifestState::Damaged;
}

class StoreDamage : public InstallRootsTest, public ::testing::WithParamInterface<Subject>
{
protected:
    /** Loads the store at the current path and holds entries, state and log against the model. */
    void expectLoadedAs(const ModelStore& model, InstalledManifestState state)
    {
        m_log.clear();
        const CInstalledManifestInfo store(eCurrentDataPath);
        EXPECT_EQ(entriesOf(store), model.entries);
        EXPECT_EQ(store.GetState(), state);
        EXPECT_THAT(m_log.records(), ElementsAreArray(recordsOf(model)));
    }

    CapturedLog m_log;
};

TEST_P(StoreDamage, ofNothingLoadsEveryKeptRecord)
{
    writeFile(currentStore(), GetParam().bytes);
    const ModelStore model = modelLoad(GetParam().bytes);
    EXPECT_EQ(model.logged.size(), 0U);
    EXPECT_GE(model.entries.size(), 2U);
    expectLoadedAs(model, InstalledManifestState::Good);
}

TEST_P(StoreDamage, ofEveryKindLoadsAndLogsWhatTheModelSays)
{
    const LittleMemory limit;
    for (const auto& [name, bytes] : damages(GetParam())) {
        SCOPED_TRACE(name);
        writeFile(currentStore(), bytes);
        const ModelStore model = modelLoad(bytes);
        expectLoadedAs(model, stateOf(model));
        EXPECT_EQ(toHex(readFile(currentStore())), toHex(bytes));
    }
}

TEST_P(StoreDamage, byABadSectorAtAnyByteLosesTheWholeStore)
{
    const std::string& whole = GetParam().bytes;
    writeFile(currentStore(), whole);
    for (std::size_t readable = 0; readable <= whole.size(); ++readable) {
        SCOPED_TRACE(readable);
        const ModelStore model = modelLoad(whole.substr(0, readable), Behind::BadSector);
        EXPECT_EQ(model.entries.size(), 0U);
        const FailingReads failing(readable, EIO);
        expectLoadedAs(model, InstalledManifestState::Unreadable);
    }
}

/** The lines that the tool prints for these records. */
std::vector<std::string> linesOf(const std::vector<ModelRecord>& records)
{
    std::vector<std::string> lines;
    for (const ModelRecord& record : records) {
        lines.push_back((record.importance == 'E' ? "[ERROR] " : "[WARNING] ") + oneLine(record.text));
    }
    return lines;
}

TEST_P(StoreDamage, meetsTheToolAsItMeetsTheLibrary)
{
    const ScratchFolder scratch;
    const std::string manifest = scratch.write(
        "added.xml", "<vpn rev=\"1.0\"><file id=\"added\" type=\"exe\" version=\"9\"><uri>a/b</uri></file></vpn>");
    ToolRun tool({"-i", kCurrentRoot, manifest});
    if (!kReservesTerabytes) {
        tool.limit(RLIMIT_AS, kMemory);
    }
    const auto all = damages(GetParam());
    // One in thirteen: every kind of damage, in every field, in about a second.
    for (std::size_t i = 0; i < all.size(); i += 13) {
        const auto& [name, bytes] = all[i];
        SCOPED_TRACE(name);
        writeFile(currentStore(), bytes);
        ModelStore model = modelLoad(bytes);
        model.entries.push_back({2, "9", "added"});
        const ModelFile file = modelWrite(model.entries);
        model.logged.insert(model.logged.end(), file.logged.begin(), file.logged.end());
        const ToolResult result = tool.run();
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_EQ(result.messages(), linesOf(model.logged));
        EXPECT_EQ(toHex(readFile(currentStore())), toHex(file.bytes));
    }
}

INSTANTIATE_TEST_SUITE_P(Matrix, StoreDamage, ::testing::ValuesIn(kSubjects),
                         [](const auto& testCase) { return testCase.param.name; });

} // namespace

} // namespace obg::test
