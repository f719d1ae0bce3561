#include "vpn/Common/BasicLoggingMessages.h"

#include <array>

namespace {

constexpr std::array kMessages{
    LogMessageDef{"MID_UNKNOWN", Logging::S_NOTICE, "%s"},
    LogMessageDef{"MID_DEBUG_MESSAGE", Logging::S_DEBUG, "Function: %s\nFile: %s\nLine: %d\n%s"},
    LogMessageDef{"MID_DEBUG_RETURN_CODE", Logging::S_DEBUG,
                  "Function: %s\nFile: %s\nLine: %d\nInvoked Function: %s\nReturn Code: %d (0x%.8X)\n"
                  "Description: %s\n%s"},
    LogMessageDef{"MID_VERBOSE_MESSAGE", Logging::S_DEBUG, "[%s] %s:%d(%s) %s"},
};

constexpr LogMessageDef kUnknownMessage{"UNKNOWN", Logging::S_DEBUG, ""};

constexpr std::array kSets{LogMessageSet{kMessages.data(), Logging::MID_UNKNOWN, kMessages.size()}};

} // namespace

const LogMessageSet* CLoggingMessages::getTables(unsigned long& count)
{
    count = kSets.size();
    return kSets.data();
}

const LogMessageDef* CLoggingMessages::get_message_set_0(unsigned long& count)
{
    count = kMessages.size();
    return kMessages.data();
}

const LogMessageDef* CLoggingMessages::GetLogMessage(Logging::MessageID id)
{
    unsigned long count = 0;
    const LogMessageSet* sets = getTables(count);
    for (unsigned long i = 0; i < count; ++i) {
        if (id >= sets[i].firstId && id - sets[i].firstId < sets[i].count) {
            return sets[i].messages + (id - sets[i].firstId);
        }
    }
    return &kUnknownMessage;
}
