#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include "Support/AllocationCounter.h"
#include "Support/RecordingLogSink.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <algorithm>
#include <cstdlib>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

namespace Zel::System::Commons::Diagnostics::Logging
{

class Talker : private Loggable<Talker>
{
public:
    template <typename... Arguments>
    static void Say(LogLevel level, Core::FormatText<Arguments...> text, Arguments&&... arguments)
    {
        Log(level, text, std::forward<Arguments>(arguments)...);
    }
};

/// Counts how often it is formatted.
struct Costly
{
    int* formatted;
};

} // namespace Zel::System::Commons::Diagnostics::Logging

template <>
struct fmt::formatter<Zel::System::Commons::Diagnostics::Logging::Costly> : fmt::formatter<int>
{
    template <typename Context>
    auto format(const Zel::System::Commons::Diagnostics::Logging::Costly& value, Context& context) const
    {
        return fmt::formatter<int>::format(++*value.formatted, context);
    }
};

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

using Tests::Support::GetAllocationCount;
using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

TEST(LogManagerTest, EachLevelWritesItselfAndWhatIsMoreSevere)
{
    const LogLevel levels[] = {LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Debug,
                               LogLevel::Trace};
    Lines expected;
    for (const LogLevel enabled : levels)
    {
        const RecordingLog log(enabled);
        for (const LogLevel level : levels)
        {
            Talker::Say(level, "to {0}: {0}", "all");
        }
        expected.push_back(String(ToString(enabled)) + " Talker: to all: all");
        EXPECT_EQ(log->GetLines(), expected);
    }
}

TEST(LogManagerTest, ASwitchedOffLineFormatsAndAllocatesNothing)
{
    const RecordingLog log(LogLevel::Info);
    int formatted = 0;
    Talker::Say(LogLevel::Info, "{0}", Costly{&formatted});
    EXPECT_EQ(formatted, 1);
    const std::size_t before = GetAllocationCount();
    Talker::Say(LogLevel::Debug, "{0} {1:>700}", Costly{&formatted}, "much");
    EXPECT_EQ(GetAllocationCount(), before);
    EXPECT_EQ(formatted, 1);
    EXPECT_EQ(log->GetLines(), Lines{"info Talker: 1"});
}

TEST(LogManagerTest, BracesInArgumentsAreNotInterpreted)
{
    const RecordingLog log;
    Talker::Say(LogLevel::Info, "{}", "{0} {nobody}");
    EXPECT_EQ(log->GetLines(), Lines{"info Talker: {0} {nobody}"});
}

TEST(LogManagerTest, OneClassHasOneLoggerWhichTakesTheLevelOfTheProcess)
{
    struct Late
    {
    };

    const LogLevel earlier = LogManager::GetLevel();
    LogManager::SetLevel(LogLevel::Error);
    Logger& logger = LogManager::GetLogger(typeid(Late));
    EXPECT_EQ(&logger, &LogManager::GetLogger(typeid(Late)));
    EXPECT_EQ(logger.GetName(), "Late");
    EXPECT_FALSE(logger.IsEnabled(LogLevel::Warning));
    LogManager::SetLevel(LogLevel::Debug);
    EXPECT_TRUE(logger.IsEnabled(LogLevel::Debug));
    EXPECT_FALSE(logger.IsEnabled(LogLevel::Trace));
    LogManager::SetLevel(earlier);
}

TEST(LogManagerTest, EverySinkGetsTheLineAlsoBehindOneThatThrows)
{
    class Thrower : public ILogSink
    {
    public:
        void Write(const LogRecord&) override { throw std::runtime_error("full"); }
    };

    const auto thrower = std::make_shared<Thrower>();
    LogManager::AddSink(thrower);
    {
        const RecordingLog log;
        EXPECT_NO_THROW(Talker::Say(LogLevel::Error, "still here"));
        EXPECT_EQ(log->GetLines(), Lines{"error Talker: still here"});
    }
    LogManager::RemoveSink(thrower);
    EXPECT_EQ(thrower.use_count(), 1);
}

TEST(LogManagerTest, WithoutASinkOnlyWarningsAndErrorsGoToStandardError)
{
    AppDomain appDomain("tester");
    LogManager::AssignAppDomain(appDomain);
    testing::internal::CaptureStderr();
    Talker::Say(LogLevel::Info, "quiet");
    Talker::Say(LogLevel::Warning, "one\ntwo");
    Talker::Say(LogLevel::Error, "three");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tester: warning Talker: one\\x0Atwo\ntester: error Talker: three\n");
}

TEST(LogManagerTest, TheConsoleSinkWritesOneLineOfPrintableTextARecord)
{
    testing::internal::CaptureStderr();
    const auto sink = LogManager::CreateConsoleSink();
    sink->Write({LogLevel::Trace, "Talker", "100 % of {0}\x1B[2J"});
    sink->Write({LogLevel::Error, "Talker", "two"});
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("[0-9-]+T[0-9:.+-]+ trace   Talker: 100 % of \\{0\\}\\\\x1B\\[2J\n"
                                      "[0-9-]+T[0-9:.+-]+ error   Talker: two\n"));
}

TEST(LogManagerTest, LinesOfManyThreadsArriveWhole)
{
    constexpr std::size_t Threads = 4;
    constexpr std::size_t Count = 500;
    const RecordingLog log;
    std::vector<std::thread> threads;
    threads.reserve(Threads);
    for (std::size_t index = 0; index < Threads; ++index)
    {
        threads.emplace_back(
            [index]
            {
                for (std::size_t count = 0; count < Count; ++count)
                {
                    Talker::Say(LogLevel::Info, "{0}", index);
                }
            });
    }
    for (auto& thread : threads)
    {
        thread.join();
    }
    const Lines lines = log->GetLinesOf("Talker");
    for (std::size_t index = 0; index < Threads; ++index)
    {
        EXPECT_EQ(std::count(lines.begin(), lines.end(), "info Talker: " + std::to_string(index)),
                  static_cast<std::ptrdiff_t>(Count));
    }
}

/// Built before anything of the log is, and so destroyed after it if the log's objects were static ones.
struct LogsAtExit
{
    LogsAtExit() = default;
    LogsAtExit(const LogsAtExit&) = delete;
    LogsAtExit& operator=(const LogsAtExit&) = delete;

    ~LogsAtExit() { Talker::Say(LogLevel::Error, "last {0}", "words"); }
};

TEST(LogManagerDeathTest, DestructorsOfStaticObjectsMayLog)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static const LogsAtExit object;
            Talker::Say(LogLevel::Error, "first words");
            // NOLINTNEXTLINE(concurrency-mt-unsafe): the one thread of the child process
            std::exit(0);
        },
        testing::ExitedWithCode(0), "Talker: first words\n.*Talker: last words");
}

} // namespace

} // namespace Zel::System::Commons::Diagnostics::Logging
