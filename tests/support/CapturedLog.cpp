#include "tests/support/CapturedLog.h"

#include <cerrno>
#include <ostream>
#include <utility>

namespace obg::test {

void PrintTo(const LogRecord& record, std::ostream* stream)
{
    *stream << record.messageName << " (id " << static_cast<int>(record.id) << ", severity "
            << static_cast<int>(record.severity) << ", importance '" << static_cast<char>(record.importance) << "'):\n"
            << record.text;
}

/** The log owns and deletes it; what it heard stays with the CapturedLog. */
class CapturedLog::Recorder final : public ILogger
{
public:
    explicit Recorder(CapturedLog& owner) : m_owner(owner) {}

    long Log(Logging::Severity severity, const char* text, const char* messageName, Logging::MessageID id,
             Logging::DebugImportance importance) override
    {
        const std::lock_guard lock(m_owner.m_mutex);
        m_owner.m_records.push_back({severity, text, messageName, id, importance});
        errno = EXFULL; // A back end may do that: whoever still needs its own errno has to keep it.
        return 0;
    }

private:
    CapturedLog& m_owner;
};

CapturedLog::CapturedLog()
{
    const bool free = !CAppLog::HasLogger();
    EXPECT_TRUE(free) << "another back end is installed; nothing is captured";
    auto recorder = std::make_unique<Recorder>(*this);
    long result = 0;
    m_log = std::make_unique<CAppLog>(result, "test", free ? recorder.release() : nullptr);
}

CapturedLog::~CapturedLog() = default;

std::vector<LogRecord> CapturedLog::records() const
{
    const std::lock_guard lock(m_mutex);
    return m_records;
}

std::vector<std::string> CapturedLog::texts() const
{
    std::vector<std::string> texts;
    for (const LogRecord& record : records()) {
        texts.push_back(record.text);
    }
    return texts;
}

void CapturedLog::clear()
{
    const std::lock_guard lock(m_mutex);
    m_records.clear();
}

} // namespace obg::test
