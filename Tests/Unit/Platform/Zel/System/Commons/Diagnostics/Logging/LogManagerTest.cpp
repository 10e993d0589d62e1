#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include "Support/RecordingLog.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <gmock/gmock.h>

namespace Zel::System::Commons::Diagnostics::Logging
{

using namespace testing;

struct Talker : private Loggable<Talker>
{
    using Loggable<Talker>::Log;
};

struct ThrowingSink : ILogSink
{
    void Write(const LogRecord&) override { throw Exception("full"); }
};

TEST(LogManagerTest, EachLevelWritesItselfAndWhatIsMoreSevereAlsoBehindASinkThatThrows)
{
    const auto thrower = std::make_shared<ThrowingSink>();
    LogManager::AddSink(thrower);
    using enum LogLevel;
    const LogLevel levels[] = {Error, Warning, Info, Debug, Trace};
    std::vector<String> expected;
    for (const LogLevel enabled : levels)
    {
        const Tests::Support::RecordingLog log(enabled);
        for (const LogLevel level : levels)
        {
            Talker::Log(level, "to {0}: {0}", "{all}");
        }
        expected.push_back(String(ToString(enabled)) + " Talker: to {all}: {all}");
        EXPECT_EQ(log.GetLines(), expected);
    }
    LogManager::RemoveSink(thrower);
}

TEST(LogManagerTest, WithoutASinkOnlyWarningsAndErrorsGoToStandardError)
{
    AppDomain appDomain("tester");
    LogManager::AssignAppDomain(appDomain);
    testing::internal::CaptureStderr();
    Talker::Log(LogLevel::Info, "quiet");
    Talker::Log(LogLevel::Warning, "one\ntwo");
    Talker::Log(LogLevel::Error, "three");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tester: warning Talker: one\\x0Atwo\ntester: error Talker: three\n");
}

TEST(LogManagerDeathTest, DestructorsOfStaticObjectsMayLog)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    // Registered before the log exists: runs behind the destructors of its objects, if these were static
    // ones.
    const auto logAndExit = []
    {
        std::atexit([] { Talker::Log(LogLevel::Error, "last {0}", "words"); });
        Talker::Log(LogLevel::Error, "first words");
        // NOLINTNEXTLINE(concurrency-mt-unsafe): the one thread of the child process
        std::exit(0);
    };
    EXPECT_EXIT(logAndExit(), ExitedWithCode(0), "Talker: first words\n.*Talker: last words");
}

TEST(EscapeControlCharactersTest, OnlyPrintableTextPasses)
{
    const std::pair<String, const char*> cases[] = {
        {"plain ~ {0} \\x41", "plain ~ {0} \\x41"},
        {"one\ntwo\r\tthree\x7F", "one\\x0Atwo\\x0D\\x09three\\x7F"},
        {String("a\0b\x1B]0;", 7), "a\\x00b\\x1B]0;"},
        // Characters of two, three and four bytes.
        {"\u00A0\u00E4\u20AC\uD7FF\uE000\U0001F600", "\u00A0\u00E4\u20AC\uD7FF\uE000\U0001F600"},
        // U+0080 to U+009F, among them the one-character form of ESC [.
        {"\xC2\x80\xC2\x9B\x31m\xC2\x9F", "\\xC2\\x80\\xC2\\x9B1m\\xC2\\x9F"},
        // No UTF-8: lone bytes, cut sequences, longer forms than needed, surrogates, beyond U+10FFFF.
        {"\x9B\xFF\xBF", "\\x9B\\xFF\\xBF"},
        {"\xE2\x82\x41\xC3\xC3\xA4\xC3", "\\xE2\\x82\x41\\xC3\u00E4\\xC3"},
        {"\xC0\x9B\xE0\x82\x9B\xF0\x80\x82\x9B", "\\xC0\\x9B\\xE0\\x82\\x9B\\xF0\\x80\\x82\\x9B"},
        {"\xED\xA0\x80\xF4\x90\x80\x80", "\\xED\\xA0\\x80\\xF4\\x90\\x80\\x80"},
    };
    for (const auto& [text, escaped] : cases)
    {
        EXPECT_EQ(EscapeControlCharacters(text), escaped);
    }
}

} // namespace Zel::System::Commons::Diagnostics::Logging
