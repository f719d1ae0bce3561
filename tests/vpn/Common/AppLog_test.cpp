#include "vpn/Common/AppLog.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "tests/support/CapturedLog.h"
#include "tests/support/LogTexts.h"
#include "vpn/Common/ILogger.h"

namespace {

using obg::test::CapturedLog;
using obg::test::debugText;
using obg::test::IsDebugMessage;
using obg::test::IsReturnCode;
using obg::test::LogRecord;
using obg::test::returnCodeText;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto kOtherImportance = static_cast<Logging::DebugImportance>('X');

/** A back end that counts what happens to it. */
class CountingLogger : public ILogger
{
public:
    struct Counts
    {
        std::atomic<int> messages = 0;
        std::atomic<int> deletions = 0;
    };

    explicit CountingLogger(Counts& counts, long status = 0) : m_counts(counts), m_status(status) {}
    ~CountingLogger() override { ++m_counts.deletions; }

    long Log(Logging::Severity, const char*, const char*, Logging::MessageID, Logging::DebugImportance) override
    {
        ++m_counts.messages;
        return m_status;
    }

private:
    Counts& m_counts;
    long m_status;
};

void logOnce()
{
    CAppLog::LogDebugMessage("f", "../f", 1, Logging::DI_ERROR, "%s", "text");
}

// Instances and their back end

TEST(CAppLog, withoutAnInstanceThereIsNoBackEndAndMessagesAreDropped)
{
    EXPECT_FALSE(CAppLog::HasLogger());
    logOnce();
    CAppLog::LogReturnCode("f", "../f", 1, Logging::DI_ERROR, "g", 5, nullptr, nullptr);
    CAppLog::LogMessage(Logging::MID_UNKNOWN, "text");
}

TEST(CAppLog, theFirstInstanceInstallsItsBackEnd)
{
    CountingLogger::Counts counts;
    long result = -1;
    const CAppLog log(result, "test", new CountingLogger(counts));
    EXPECT_EQ(result, 0);
    EXPECT_TRUE(CAppLog::HasLogger());
    logOnce();
    EXPECT_EQ(counts.messages, 1);
}

TEST(CAppLog, theLastInstanceDeletesTheBackEnd)
{
    CountingLogger::Counts counts;
    long result = -1;
    auto first = std::make_unique<CAppLog>(result, "first", new CountingLogger(counts));
    auto second = std::make_unique<CAppLog>(result, "second", nullptr);
    first.reset();
    EXPECT_EQ(counts.deletions, 0);
    EXPECT_TRUE(CAppLog::HasLogger());
    second.reset();
    EXPECT_EQ(counts.deletions, 1);
    EXPECT_FALSE(CAppLog::HasLogger());
}

TEST(CAppLog, aBackEndThatIsRefusedStaysTheCallers)
{
    CountingLogger::Counts installed;
    CountingLogger::Counts refused;
    CountingLogger callers(refused);
    long result = -1;
    {
        const CAppLog first(result, "first", new CountingLogger(installed));
        result = -1;
        {
            const CAppLog second(result, "second", &callers);
            EXPECT_EQ(result, 0);
            logOnce();
        }
        logOnce();
    }
    EXPECT_EQ(installed.messages, 2);
    EXPECT_EQ(refused.messages, 0);
    EXPECT_EQ(refused.deletions, 0);
}

TEST(CAppLog, withoutABackEndTheResultIsThatOfCreateLogger)
{
    long result = -1;
    const CAppLog log(result, "test", nullptr);
    EXPECT_EQ(result, 0xFE000001L);
    EXPECT_FALSE(CAppLog::HasLogger());
}

TEST(CAppLog, aLaterInstanceMayBringTheBackEndThatIsMissing)
{
    CountingLogger::Counts counts;
    long result = -1;
    const CAppLog first(result, "first", nullptr);
    const CAppLog second(result, "second", new CountingLogger(counts));
    EXPECT_EQ(result, 0);
    logOnce();
    EXPECT_EQ(counts.messages, 1);
}

TEST(CAppLog, aNewRoundOfInstancesInstallsANewBackEnd)
{
    CountingLogger::Counts earlier;
    CountingLogger::Counts later;
    long result = -1;
    {
        const CAppLog log(result, "test", new CountingLogger(earlier));
    }
    {
        const CAppLog log(result, "test", new CountingLogger(later));
        EXPECT_EQ(result, 0);
        logOnce();
    }
    EXPECT_EQ(earlier.messages, 0);
    EXPECT_EQ(later.messages, 1);
    EXPECT_EQ(later.deletions, 1);
}

/** While it is deleted, asks from another thread for something that takes the log's lock. */
class LockAskingLogger : public ILogger
{
public:
    explicit LockAskingLogger(std::future<bool>& answer, bool& answered) : m_answer(answer), m_answered(answered) {}
    ~LockAskingLogger() override
    {
        m_answer = std::async(std::launch::async, [] { return CAppLog::HasLogger(); });
        m_answered = m_answer.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    }

    long Log(Logging::Severity, const char*, const char*, Logging::MessageID, Logging::DebugImportance) override
    {
        return 0;
    }

private:
    std::future<bool>& m_answer;
    bool& m_answered;
};

TEST(CAppLog, theBackEndIsDeletedAfterTheLockIsReleased)
{
    std::future<bool> answer;
    bool answered = false;
    {
        long result = -1;
        const CAppLog log(result, "test", new LockAskingLogger(answer, answered));
    }
    EXPECT_TRUE(answered);
}

TEST(CAppLog, theStatusOfTheBackEndIsIgnored)
{
    CountingLogger::Counts counts;
    long result = -1;
    const CAppLog log(result, "test", new CountingLogger(counts, 0xFE000002L));
    logOnce();
    logOnce();
    EXPECT_EQ(counts.messages, 2);
    EXPECT_TRUE(CAppLog::HasLogger());
}

TEST(CAppLog, createLoggerHasNoDefaultBackEnd)
{
    CountingLogger::Counts counts;
    CountingLogger other(counts);
    ILogger* logger = &other;
    EXPECT_EQ(CAppLog::createLogger("test", logger), 0xFE000001L);
    EXPECT_EQ(logger, nullptr);
    EXPECT_EQ(counts.deletions, 0);
}

TEST(CAppLog, updateLoggerLeavesNoBackEnd)
{
    CountingLogger::Counts counts;
    long result = -1;
    const CAppLog log(result, "test", new CountingLogger(counts));
    EXPECT_EQ(CAppLog::UpdateLogger("other"), 0xFE000001L);
    EXPECT_EQ(counts.deletions, 1);
    EXPECT_FALSE(CAppLog::HasLogger());
    logOnce();
    EXPECT_EQ(counts.messages, 0);
}

TEST(CAppLog, updateLoggerWithoutABackEndGivesTheSameStatus)
{
    long result = -1;
    const CAppLog log(result, "test", nullptr);
    EXPECT_EQ(CAppLog::UpdateLogger("other"), 0xFE000001L);
}

TEST(CAppLog, updateLoggerNeedsAnInstance)
{
    EXPECT_EQ(CAppLog::UpdateLogger("other"), 0xFE00000AL);
}

// Messages of the table

TEST(CAppLog, logMessageHandsTheRecordAndImportanceTToTheBackEnd)
{
    CapturedLog log;
    CAppLog::LogMessage(Logging::MID_UNKNOWN, "plain text");
    ASSERT_EQ(log.records().size(), 1U);
    const LogRecord record = log.records().front();
    EXPECT_EQ(record.severity, Logging::S_NOTICE);
    EXPECT_EQ(record.text, "plain text");
    EXPECT_EQ(record.messageName, "MID_UNKNOWN");
    EXPECT_EQ(record.id, Logging::MID_UNKNOWN);
    EXPECT_EQ(record.importance, Logging::DI_TABLE);
}

TEST(CAppLog, everyMessageOfTheTableIsFormatted)
{
    CapturedLog log;
    CAppLog::LogMessage(Logging::MID_DEBUG_MESSAGE, "function", "file", 3, "text");
    CAppLog::LogMessage(Logging::MID_DEBUG_RETURN_CODE, "function", "file", 3, "invoked", -2, 0xFFFFFFFE, "why",
                        "text");
    CAppLog::LogMessage(Logging::MID_VERBOSE_MESSAGE, "component", "file", 3, "function", "text");
    EXPECT_THAT(log.texts(), ElementsAre("Function: function\nFile: file\nLine: 3\ntext",
                                         "Function: function\nFile: file\nLine: 3\nInvoked Function: invoked\n"
                                         "Return Code: -2 (0xFFFFFFFE)\nDescription: why\ntext",
                                         "[component] file:3(function) text"));
    EXPECT_EQ(log.records().back().severity, Logging::S_DEBUG);
    EXPECT_EQ(log.records().back().messageName, "MID_VERBOSE_MESSAGE");
}

TEST(CAppLog, logPassesTheImportanceOn)
{
    CapturedLog log;
    CAppLog::log(Logging::MID_UNKNOWN, kOtherImportance, "text");
    ASSERT_EQ(log.records().size(), 1U);
    EXPECT_EQ(log.records().front().importance, kOtherImportance);
    EXPECT_EQ(log.records().front().severity, Logging::S_NOTICE);
}

TEST(CAppLog, anUnknownIdIsLoggedWithTheFallbackRecordAndNoText)
{
    CapturedLog log;
    const auto unknown = static_cast<Logging::MessageID>(4);
    CAppLog::LogMessage(unknown, "text");
    ASSERT_EQ(log.records().size(), 1U);
    const LogRecord record = log.records().front();
    EXPECT_EQ(record.severity, Logging::S_DEBUG);
    EXPECT_EQ(record.text, "");
    EXPECT_EQ(record.messageName, "UNKNOWN");
    EXPECT_EQ(record.id, unknown);
}

TEST(CAppLog, aMessageIsCutAt2560Bytes)
{
    CapturedLog log;
    CAppLog::LogMessage(Logging::MID_UNKNOWN, std::string(2560, 'a').c_str());
    CAppLog::LogMessage(Logging::MID_UNKNOWN, std::string(2561, 'b').c_str());
    EXPECT_THAT(log.texts(), ElementsAre(std::string(2560, 'a'), std::string(2560, 'b')));
}

// getFormattedMessage

void format(const char* text, char* buffer, unsigned long size, ...)
{
    std::va_list arguments;
    va_start(arguments, size);
    CAppLog::getFormattedMessage(text, arguments, buffer, size);
    va_end(arguments);
}

TEST(CAppLog, getFormattedMessageFormatsAndCuts)
{
    char buffer[] = "######";
    format("%d-%s", buffer, 6, 12, "abc");
    EXPECT_STREQ(buffer, "12-ab");
}

TEST(CAppLog, getFormattedMessageWithoutFormatGivesAnEmptyText)
{
    char buffer[] = "######";
    format(nullptr, buffer, 6);
    EXPECT_EQ(std::string(buffer, 6), std::string("\0#####", 6));
}

TEST(CAppLog, getFormattedMessageWithSizeZeroStillEmptiesTheBuffer)
{
    char buffer[] = "######";
    format("text", buffer, 0);
    EXPECT_EQ(std::string(buffer, 6), std::string("\0#####", 6));
}

TEST(CAppLog, getFormattedMessageWithoutBufferDoesNothing)
{
    format("text", nullptr, 6);
}

// LogDebugMessage

TEST(CAppLog, logDebugMessagePutsTheCallersPlaceAboveTheText)
{
    CapturedLog log;
    CAppLog::LogDebugMessage("main", "../main", 98, Logging::DI_ERROR, "Failed %s %d", "at", 7);
    EXPECT_THAT(log.records(), ElementsAre(IsDebugMessage('E', debugText("main", "../main", 98, "Failed at 7"))));
}

TEST(CAppLog, logDebugMessageKeepsEveryImportance)
{
    CapturedLog log;
    for (const auto importance : {Logging::DI_ERROR, Logging::DI_WARNING, Logging::DI_INFO, kOtherImportance}) {
        CAppLog::LogDebugMessage("f", "../f", 1, importance, "%s", "t");
    }
    const std::string text = debugText("f", "../f", 1, "t");
    EXPECT_THAT(log.records(), ElementsAre(IsDebugMessage('E', text), IsDebugMessage('W', text),
                                           IsDebugMessage('I', text), IsDebugMessage('X', text)));
}

TEST(CAppLog, logDebugMessageWithoutFormatHasAnEmptyText)
{
    CapturedLog log;
    const char* noFormat = nullptr;
    logOnce();
    CAppLog::LogDebugMessage("f", "../f", 5, Logging::DI_ERROR, noFormat, 0);
    EXPECT_EQ(log.texts().back(), "Function: f\nFile: ../f\nLine: 5\n");
}

TEST(CAppLog, logDebugMessageDoesNotFormatTheCallersTextAgain)
{
    CapturedLog log;
    CAppLog::LogDebugMessage("f", "../f", 5, Logging::DI_ERROR, "%s", "100%s %n");
    EXPECT_THAT(log.texts(), ElementsAre(debugText("f", "../f", 5, "100%s %n")));
}

TEST(CAppLog, aCallersTextIsCutAt2048Bytes)
{
    CapturedLog log;
    CAppLog::LogDebugMessage("f", "../f", 5, Logging::DI_ERROR, "%s", std::string(2048, 'a').c_str());
    CAppLog::LogDebugMessage("f", "../f", 5, Logging::DI_ERROR, "%s", std::string(2049, 'b').c_str());
    CAppLog::LogReturnCode("f", "../f", 5, Logging::DI_ERROR, "g", 5, "d", "%s", std::string(3000, 'c').c_str());
    EXPECT_THAT(log.texts(), ElementsAre(debugText("f", "../f", 5, std::string(2048, 'a')),
                                         debugText("f", "../f", 5, std::string(2048, 'b')),
                                         returnCodeText("f", "../f", 5, "g", 5, "d", std::string(2048, 'c'))));
}

TEST(CAppLog, theWholeRecordIsCutAt2560Bytes)
{
    CapturedLog log;
    const std::string function(600, 'f');
    const std::string text(2048, 't');
    CAppLog::LogDebugMessage(function.c_str(), "../f", 5, Logging::DI_ERROR, "%s", text.c_str());
    CAppLog::LogReturnCode(function.c_str(), "../f", 5, Logging::DI_ERROR, "g", 5, "d", "%s", text.c_str());
    EXPECT_THAT(log.texts(), ElementsAre(debugText(function, "../f", 5, text).substr(0, 2560),
                                         returnCodeText(function, "../f", 5, "g", 5, "d", text).substr(0, 2560)));
}

// LogReturnCode: which description, which trailing text

constexpr const char* kNone = nullptr;

void logReturnCode(unsigned code, const char* description, const char* format, const char* argument = "")
{
    CAppLog::LogReturnCode("f", "../f", 7, Logging::DI_ERROR, "g", code, description, format, argument);
}

std::string expectedRecord(unsigned code, const std::string& description, const std::string& text)
{
    return returnCodeText("f", "../f", 7, "g", code, description, text);
}

TEST(LogReturnCode, printsTheCodeSignedAndInHexadecimal)
{
    CapturedLog log;
    logReturnCode(0xFE000009, "why", "%s", "text");
    EXPECT_THAT(log.records(),
                ElementsAre(IsReturnCode('E', "Function: f\nFile: ../f\nLine: 7\nInvoked Function: g\n"
                                              "Return Code: -33554423 (0xFE000009)\nDescription: why\ntext")));
}

TEST(LogReturnCode, passesTheImportanceOn)
{
    CapturedLog log;
    CAppLog::LogReturnCode("f", "../f", 7, Logging::DI_WARNING, "g", 2, "why", "%s", "text");
    EXPECT_THAT(log.records(), ElementsAre(IsReturnCode('W', expectedRecord(2, "why", "text"))));
}

TEST(LogReturnCode, aGivenDescriptionStands)
{
    CapturedLog log;
    logReturnCode(5, "why", "%s", "text");
    logReturnCode(0xFE000002, "why", "%s", "text");
    logReturnCode(0, "why", "%s", "text");
    logReturnCode(5, "why", kNone);
    logReturnCode(0, "why", kNone);
    EXPECT_THAT(log.texts(), ElementsAre(expectedRecord(5, "why", "text"), expectedRecord(0xFE000002, "why", "text"),
                                         expectedRecord(0, "why", "text"), expectedRecord(5, "why", ""),
                                         expectedRecord(0, "why", "")));
}

TEST(LogReturnCode, anOrdinaryCodeWithoutDescriptionIsUnknown)
{
    CapturedLog log;
    logReturnCode(5, kNone, "%s", "text");
    logReturnCode(5, kNone, kNone);
    logReturnCode(0xFC000001, kNone, "%s", "text");
    logReturnCode(0x7E000001, kNone, "%s", "text");
    EXPECT_THAT(log.texts(), ElementsAre(expectedRecord(5, "unknown", "text"), expectedRecord(5, "unknown", ""),
                                         expectedRecord(0xFC000001, "unknown", "text"),
                                         expectedRecord(0x7E000001, "unknown", "text")));
}

TEST(LogReturnCode, aStatusWithoutDescriptionAndTablesIsUnknown)
{
    CapturedLog log;
    logReturnCode(0xFE000002, kNone, "%s", "text");
    EXPECT_THAT(log.texts(), ElementsAre(expectedRecord(0xFE000002, "unknown", "text")));
}

TEST(LogReturnCode, codeZeroWithoutDescriptionPutsTheTextOnTheDescriptionLine)
{
    CapturedLog log;
    logReturnCode(0, kNone, "%s", "text");
    EXPECT_THAT(log.texts(), ElementsAre("Function: f\nFile: ../f\nLine: 7\nInvoked Function: g\n"
                                         "Return Code: 0 (0x00000000)\nDescription: text\n"));
}

TEST(LogReturnCode, codeZeroWithNeitherTextIsUnknown)
{
    CapturedLog log;
    logReturnCode(0, kNone, "%s", "left over from an earlier call");
    logReturnCode(0, kNone, kNone);
    EXPECT_EQ(log.texts().back(), expectedRecord(0, "unknown", ""));
}

// Error tables

class ErrorDescriptions : public ::testing::Test
{
protected:
    static constexpr const char* kFirstTexts[] = {"first 0", "first 1", "first last"};
    static constexpr const char* kSecondTexts[] = {"second 0", nullptr, "second last"};
    static constexpr const char* kNullLastTexts[] = {"third 0", nullptr};
    static constexpr ErrorTable kTables[] = {
        {3, kFirstTexts}, {3, kSecondTexts}, {2, kNullLastTexts}, {3, nullptr}, {0, kFirstTexts},
    };
    static constexpr ErrorTables kAllTables{5, kTables};

    std::string descriptionOf(unsigned code)
    {
        m_log.clear();
        logReturnCode(code, kNone, "%s", "text");
        const std::string text = m_log.texts().front();
        const std::string label = "Description: ";
        const auto from = text.find(label) + label.size();
        return text.substr(from, text.find('\n', from) - from);
    }

    CapturedLog m_log;
};

TEST_F(ErrorDescriptions, bits16To23SelectTheTableAndBits0To15TheText)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE000000), "first 0");
    EXPECT_EQ(descriptionOf(0xFE000001), "first 1");
    EXPECT_EQ(descriptionOf(0xFE010000), "second 0");
}

TEST_F(ErrorDescriptions, theLowestBitOfTheTopByteIsNotLookedAt)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFF000001), "first 1");
}

TEST_F(ErrorDescriptions, aTextIndexOutOfRangeGivesTheTablesLastText)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE000003), "first last");
    EXPECT_EQ(descriptionOf(0xFE00FFFF), "first last");
}

TEST_F(ErrorDescriptions, aNullTextGivesTheTablesLastText)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE010001), "second last");
}

TEST_F(ErrorDescriptions, aNullLastTextIsUnknown)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE020001), "unknown");
    EXPECT_EQ(descriptionOf(0xFE020009), "unknown");
}

TEST_F(ErrorDescriptions, aTableWithoutTextsIsUnknown)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE030000), "unknown");
}

TEST_F(ErrorDescriptions, aTableWithCountZeroIsUnknown)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(0xFE040000), "unknown");
}

TEST_F(ErrorDescriptions, aTableIndexOutOfRangeIsUnknown)
{
    static constexpr ErrorTables oneTable{1, kTables};
    CAppLog::SetErrorTables(&oneTable);
    EXPECT_EQ(descriptionOf(0xFE010000), "unknown");
    EXPECT_EQ(descriptionOf(0xFEFF0000), "unknown");
}

TEST_F(ErrorDescriptions, noTablesOrCountZeroIsUnknown)
{
    static constexpr ErrorTables none{0, kTables};
    CAppLog::SetErrorTables(&none);
    EXPECT_EQ(descriptionOf(0xFE000000), "unknown");
    static constexpr ErrorTables nowhere{5, nullptr};
    CAppLog::SetErrorTables(&nowhere);
    EXPECT_EQ(descriptionOf(0xFE000000), "unknown");
    CAppLog::SetErrorTables(nullptr);
    EXPECT_EQ(descriptionOf(0xFE000000), "unknown");
}

TEST_F(ErrorDescriptions, areNotAskedForOtherCodes)
{
    CAppLog::SetErrorTables(&kAllTables);
    EXPECT_EQ(descriptionOf(1), "unknown");
    EXPECT_EQ(descriptionOf(0xFC000001), "unknown");
    EXPECT_EQ(descriptionOf(0x7E000001), "unknown");
    EXPECT_EQ(descriptionOf(0), "text");
}

TEST_F(ErrorDescriptions, everyNewInstanceForgetsThem)
{
    CAppLog::SetErrorTables(&kAllTables);
    long result = -1;
    const CAppLog another(result, "another", nullptr);
    EXPECT_EQ(descriptionOf(0xFE000000), "unknown");
}

// Verbose logging

TEST(CAppLog, verboseLoggingAcceptsItsArgumentsAndDoesNothing)
{
    CapturedLog log;
    const CUST_LOG_COMPONENT component{};
    const CUST_LOG_LEVEL level{};
    CAppLog::LogVerboseMessage("f", "../f", 1, Logging::DI_ERROR, component, level, "%s", "text");
    CAppLog::LogAggVerboseMessage("f", "../f", 1, Logging::DI_ERROR, {component, component}, level, "%s", "text");
    EXPECT_THAT(log.records(), IsEmpty());
    EXPECT_EQ(CAppLog::GetLogLevel(component), 0U);
    EXPECT_EQ(sizeof(CUST_LOG_COMPONENT), 4U);
    EXPECT_EQ(sizeof(CUST_LOG_LEVEL), 4U);
}

// Several threads

TEST(CAppLogThreads, logWholeTextsOfTheirOwn)
{
    constexpr unsigned kThreads = 4;
    constexpr unsigned kRounds = 200;
    CapturedLog log;
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i) {
        threads.emplace_back([i] {
            const std::string text(1500, static_cast<char>('a' + i));
            for (unsigned round = 0; round < kRounds; ++round) {
                CAppLog::LogDebugMessage("f", "../f", i, Logging::DI_ERROR, "%s", text.c_str());
                CAppLog::LogReturnCode("f", "../f", i, Logging::DI_ERROR, "g", 5, nullptr, "%s", text.c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    const std::vector<std::string> texts = log.texts();
    for (unsigned i = 0; i < kThreads; ++i) {
        const std::string text(1500, static_cast<char>('a' + i));
        EXPECT_EQ(std::count(texts.begin(), texts.end(), debugText("f", "../f", static_cast<int>(i), text)), kRounds);
        EXPECT_EQ(std::count(texts.begin(), texts.end(),
                             returnCodeText("f", "../f", static_cast<int>(i), "g", 5, "unknown", text)),
                  kRounds);
    }
    EXPECT_EQ(texts.size(), 2U * kThreads * kRounds);
}

/** While it takes its first message, lets another thread log, then looks at its own text again. */
class InterruptedLogger : public ILogger
{
public:
    explicit InterruptedLogger(std::string& textAfterwards) : m_textAfterwards(textAfterwards) {}

    long Log(Logging::Severity, const char* text, const char*, Logging::MessageID, Logging::DebugImportance) override
    {
        if (m_first) {
            m_first = false;
            std::thread([] { CAppLog::LogMessage(Logging::MID_UNKNOWN, "other"); }).join();
            m_textAfterwards = text;
        }
        return 0;
    }

private:
    std::string& m_textAfterwards;
    bool m_first = true;
};

TEST(CAppLogThreads, haveBuffersOfTheirOwn)
{
    std::string textAfterwards;
    long result = -1;
    const CAppLog log(result, "test", new InterruptedLogger(textAfterwards));
    CAppLog::LogMessage(Logging::MID_UNKNOWN, "first");
    EXPECT_EQ(textAfterwards, "first");
}

TEST(CAppLogThreads, logWhileASecondInstanceComesAndGoes)
{
    constexpr int kThreads = 3;
    constexpr int kRounds = 500;
    CountingLogger::Counts counts;
    long result = -1;
    {
        const CAppLog first(result, "first", new CountingLogger(counts));
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([] {
                for (int round = 0; round < kRounds; ++round) {
                    CAppLog::LogReturnCode("f", "../f", 1, Logging::DI_ERROR, "g", 0xFE000002, nullptr, nullptr);
                }
            });
        }
        for (int round = 0; round < kRounds; ++round) {
            long secondResult = -1;
            const CAppLog second(secondResult, "second", nullptr);
            EXPECT_EQ(secondResult, 0);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(counts.deletions, 0);
    }
    EXPECT_EQ(counts.messages, kThreads * kRounds);
    EXPECT_EQ(counts.deletions, 1);
}

TEST(CAppLogThreads, logWhileTheFirstBackEndIsInstalled)
{
    CountingLogger::Counts counts;
    std::atomic<bool> stop = false;
    std::thread thread([&stop] {
        while (!stop) {
            logOnce();
        }
    });
    long result = -1;
    auto log = std::make_unique<CAppLog>(result, "test", new CountingLogger(counts));
    while (counts.messages == 0) {
        std::this_thread::yield();
    }
    stop = true;
    thread.join();
    EXPECT_TRUE(CAppLog::HasLogger());
}

TEST(CAppLogThreads, instancesOfSeveralThreadsCountTogether)
{
    constexpr int kThreads = 4;
    constexpr int kRounds = 300;
    CountingLogger::Counts counts;
    {
        long result = -1;
        const CAppLog first(result, "first", new CountingLogger(counts));
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([] {
                for (int round = 0; round < kRounds; ++round) {
                    long ignored = -1;
                    const CAppLog another(ignored, "another", nullptr);
                    EXPECT_TRUE(CAppLog::HasLogger());
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(counts.deletions, 0);
    }
    EXPECT_EQ(counts.deletions, 1);
}

} // namespace
