#include "vpn/Common/BasicLoggingMessages.h"

#include <cstdint>

#include <gmock/gmock.h>

namespace {

struct Row
{
    std::uint32_t id;
    const char* name;
    int severity;
    const char* format;
};

constexpr Row kRows[] = {
    {0, "MID_UNKNOWN", 5, "%s"},
    {1, "MID_DEBUG_MESSAGE", 7, "Function: %s\nFile: %s\nLine: %d\n%s"},
    {2, "MID_DEBUG_RETURN_CODE", 7,
     "Function: %s\nFile: %s\nLine: %d\nInvoked Function: %s\nReturn Code: %d (0x%.8X)\nDescription: %s\n%s"},
    {3, "MID_VERBOSE_MESSAGE", 7, "[%s] %s:%d(%s) %s"},
};

TEST(Logging, severitiesAreNumberedLikeSyslogPriorities)
{
    using namespace Logging;
    EXPECT_EQ(S_EMERGENCY, 0U);
    EXPECT_EQ(S_ALERT, 1U);
    EXPECT_EQ(S_CRITICAL, 2U);
    EXPECT_EQ(S_ERROR, 3U);
    EXPECT_EQ(S_WARNING, 4U);
    EXPECT_EQ(S_NOTICE, 5U);
    EXPECT_EQ(S_INFO, 6U);
    EXPECT_EQ(S_DEBUG, 7U);
}

TEST(Logging, importancesAreCharacterCodes)
{
    EXPECT_EQ(Logging::DI_ERROR, 69U);
    EXPECT_EQ(Logging::DI_WARNING, 87U);
    EXPECT_EQ(Logging::DI_INFO, 73U);
    EXPECT_EQ(Logging::DI_TABLE, 84U);
}

TEST(Logging, messageIdsStartAtZero)
{
    EXPECT_EQ(Logging::MID_UNKNOWN, 0U);
    EXPECT_EQ(Logging::MID_DEBUG_MESSAGE, 1U);
    EXPECT_EQ(Logging::MID_DEBUG_RETURN_CODE, 2U);
    EXPECT_EQ(Logging::MID_VERBOSE_MESSAGE, 3U);
}

TEST(Logging, enumerationsHave32Bits)
{
    EXPECT_EQ(sizeof(Logging::Severity), 4U);
    EXPECT_EQ(sizeof(Logging::DebugImportance), 4U);
    EXPECT_EQ(sizeof(Logging::MessageID), 4U);
}

TEST(CLoggingMessages, eachIdHasItsRecord)
{
    for (const Row& row : kRows) {
        const LogMessageDef* record = CLoggingMessages::GetLogMessage(static_cast<Logging::MessageID>(row.id));
        ASSERT_NE(record, nullptr);
        EXPECT_STREQ(record->name, row.name);
        EXPECT_EQ(static_cast<int>(record->severity), row.severity) << row.name;
        EXPECT_STREQ(record->format, row.format);
    }
}

TEST(CLoggingMessages, anIdOutsideEverySetHasTheFallbackRecord)
{
    for (const std::uint32_t id : {4U, 100U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        const LogMessageDef* record = CLoggingMessages::GetLogMessage(static_cast<Logging::MessageID>(id));
        ASSERT_NE(record, nullptr) << id;
        EXPECT_STREQ(record->name, "UNKNOWN") << id;
        EXPECT_EQ(record->severity, 7U) << id;
        EXPECT_STREQ(record->format, "") << id;
    }
}

TEST(CLoggingMessages, thereIsOneSetOfFourMessages)
{
    unsigned long setCount = 0;
    const LogMessageSet* sets = CLoggingMessages::getTables(setCount);
    ASSERT_EQ(setCount, 1U);
    EXPECT_EQ(sets[0].firstId, 0U);
    EXPECT_EQ(sets[0].count, 4U);

    unsigned long messageCount = 0;
    EXPECT_EQ(sets[0].messages, CLoggingMessages::get_message_set_0(messageCount));
    EXPECT_EQ(messageCount, 4U);
}

TEST(CLoggingMessages, theSetListIsBuiltOnce)
{
    unsigned long count = 0;
    EXPECT_EQ(CLoggingMessages::getTables(count), CLoggingMessages::getTables(count));
}

} // namespace
