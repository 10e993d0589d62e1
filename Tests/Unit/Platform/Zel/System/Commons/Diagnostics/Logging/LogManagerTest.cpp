#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include "Support/RecordingLogSink.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

struct Talker : private Loggable<Talker>
{
    using Loggable<Talker>::Log;
};

struct ThrowingSink : ILogSink
{
    void Write(const LogRecord&) override { throw std::runtime_error("full"); }
};

} // namespace

TEST(LogManagerTest, EachLevelWritesItselfAndWhatIsMoreSevereAlsoBehindASinkThatThrows)
{
    const auto thrower = std::make_shared<ThrowingSink>();
    LogManager::AddSink(thrower);
    const LogLevel levels[] = {LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Debug,
                               LogLevel::Trace};
    Lines expected;
    for (const LogLevel enabled : levels)
    {
        const RecordingLog log(enabled);
        for (const LogLevel level : levels)
        {
            Talker::Log(level, "to {0}: {0}", "{all}");
        }
        expected.push_back(String(ToString(enabled)) + " Talker: to {all}: {all}");
        EXPECT_EQ(log->GetLines(), expected);
    }
    LogManager::RemoveSink(thrower);
}

TEST(LogManagerTest, ASwitchedOffLineFormatsNothing)
{
    const RecordingLog log(LogLevel::Info);
    // A negative width makes formatting fail, which is logged as an error.
    Talker::Log(LogLevel::Debug, "{0:{1}}", 1, -1);
    EXPECT_EQ(log->GetLines(), Lines{});
    Talker::Log(LogLevel::Info, "{0:{1}}", 1, -1);
    EXPECT_EQ(log->GetLines(LogLevel::Error),
              Lines{"error LogManager: Failed to format text '{0:{1}}': negative width"});
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
    EXPECT_EXIT(logAndExit(), testing::ExitedWithCode(0), "Talker: first words\n.*Talker: last words");
}

} // namespace Zel::System::Commons::Diagnostics::Logging
