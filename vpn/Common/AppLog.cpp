#include "vpn/Common/AppLog.h"

#include "vpn/Common/ILogger.h"
#include "vpn/Common/StatusCodes.h"
#include "vpn/Common/Utility/Locks.h"
#include "vpn/Common/Utility/safe_string.h"

namespace {

constexpr std::size_t kMessageSize = 2561;
constexpr std::size_t kCallerTextSize = 2049;
constexpr unsigned kStatusFamily = 0xFE000000;

/// Holds a lock for a scope.
class Held
{
public:
    explicit Held(CManualLock& lock) : m_lock(lock) { m_lock.Lock(); }
    ~Held() { m_lock.Unlock(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    CManualLock& m_lock;
};

} // namespace

std::uint32_t CAppLog::sm_instanceCount = 0;
std::atomic<ILogger*> CAppLog::sm_pLogger = nullptr;
std::atomic<const ErrorTables*> CAppLog::sm_pErrorTables = nullptr;

CAppLog::CAppLog(long& result, const char* name, ILogger* logger)
{
    const Held held(getLock());
    ++sm_instanceCount;
    SetErrorTables(nullptr);
    result = StatusCode::Success;
    if (sm_pLogger != nullptr) {
        return;
    }
    if (logger == nullptr) {
        result = createLogger(name, logger);
    }
    sm_pLogger = logger;
}

CAppLog::~CAppLog()
{
    ILogger* orphan = nullptr;
    {
        const Held held(getLock());
        if (sm_instanceCount == 0) {
            return;
        }
        if (--sm_instanceCount == 0) {
            orphan = sm_pLogger.exchange(nullptr);
        }
    }
    // Not under the lock: a back end's destructor may take its time, or ask the log.
    delete orphan;
}

long CAppLog::createLogger(const char* /*name*/, ILogger*& out)
{
    out = nullptr;
    return StatusCode::NoDefaultLogger;
}

long CAppLog::UpdateLogger(const char* name)
{
    const Held held(getLock());
    if (sm_instanceCount == 0) {
        return StatusCode::NoLogInstance;
    }
    delete sm_pLogger.exchange(nullptr);
    ILogger* created = nullptr;
    const long status = createLogger(name, created);
    sm_pLogger = created;
    return status;
}

bool CAppLog::HasLogger()
{
    const Held held(getLock());
    return sm_pLogger != nullptr;
}

void CAppLog::SetErrorTables(const ErrorTables* tables)
{
    sm_pErrorTables = tables;
}

void CAppLog::logArguments(Logging::DebugImportance importance, std::uint32_t id, ...)
{
    std::va_list arguments;
    va_start(arguments, id);
    logV(static_cast<Logging::MessageID>(id), importance, arguments);
    va_end(arguments);
}

void CAppLog::logV(Logging::MessageID id, Logging::DebugImportance importance, std::va_list arguments)
{
    static thread_local char formattedLogMessage[kMessageSize];
    const LogMessageDef* message = CLoggingMessages::GetLogMessage(id);
    safe_vsnprintfA(formattedLogMessage, kMessageSize, message->format, arguments);
    if (ILogger* logger = sm_pLogger) {
        logger->Log(message->severity, formattedLogMessage, message->name, id, importance);
    }
}

void CAppLog::getFormattedMessage(const char* format, std::va_list arguments, char* buffer, unsigned long size)
{
    if (buffer == nullptr) {
        return;
    }
    buffer[0] = '\0';
    if (format != nullptr && size != 0) {
        safe_vsnprintfA(buffer, size, format, arguments);
    }
}

void CAppLog::LogDebugMessage(const char* function, const char* file, unsigned line,
                              Logging::DebugImportance importance, const char* format, ...)
{
    static thread_local char formattedLogMessage[kCallerTextSize];
    std::va_list arguments;
    va_start(arguments, format);
    getFormattedMessage(format, arguments, formattedLogMessage, kCallerTextSize);
    va_end(arguments);
    log(Logging::MID_DEBUG_MESSAGE, importance, function, file, line, formattedLogMessage);
}

void CAppLog::LogReturnCode(const char* function, const char* file, unsigned line, Logging::DebugImportance importance,
                            const char* invokedFunction, unsigned code, const char* description, const char* format,
                            ...)
{
    static thread_local char formattedLogMessage[kCallerTextSize];
    std::va_list arguments;
    va_start(arguments, format);
    getFormattedMessage(format, arguments, formattedLogMessage, kCallerTextSize);
    va_end(arguments);

    const char* trailer = formattedLogMessage;
    if (description == nullptr && code != StatusCode::Success) {
        description = describe(code);
    } else if (description == nullptr && format != nullptr) {
        description = formattedLogMessage;
        trailer = "";
    } else if (description == nullptr) {
        description = "unknown";
    }
    log(Logging::MID_DEBUG_RETURN_CODE, importance, function, file, line, invokedFunction, static_cast<int>(code), code,
        description, trailer);
}

void CAppLog::LogVerboseMessage(const char* /*function*/, const char* /*file*/, unsigned /*line*/,
                                Logging::DebugImportance /*importance*/, CUST_LOG_COMPONENT /*component*/,
                                CUST_LOG_LEVEL /*level*/, const char* /*format*/, ...)
{}

void CAppLog::LogAggVerboseMessage(const char* /*function*/, const char* /*file*/, unsigned /*line*/,
                                   Logging::DebugImportance /*importance*/,
                                   const std::vector<CUST_LOG_COMPONENT>& /*components*/, CUST_LOG_LEVEL /*level*/,
                                   const char* /*format*/, ...)
{}

unsigned CAppLog::GetLogLevel(CUST_LOG_COMPONENT /*component*/)
{
    return 0;
}

CManualLock& CAppLog::getLock()
{
    static CManualLock lock(500);
    return lock;
}

const char* CAppLog::describe(unsigned code)
{
    constexpr const char* unknown = "unknown";
    if ((code & kStatusFamily) != kStatusFamily) {
        return unknown;
    }
    const unsigned tableIndex = (code >> 16) & 0xFF;
    const unsigned textIndex = code & 0xFFFF;
    const ErrorTables* const registered = sm_pErrorTables;
    if (registered == nullptr || registered->tables == nullptr || tableIndex >= registered->count) {
        return unknown;
    }
    const ErrorTable& table = registered->tables[tableIndex];
    if (table.texts == nullptr || table.count == 0) {
        return unknown;
    }
    const char* text = textIndex < table.count ? table.texts[textIndex] : nullptr;
    if (text == nullptr) {
        text = table.texts[table.count - 1];
    }
    return text == nullptr ? unknown : text;
}
