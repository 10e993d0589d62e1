#include "Zel/System/Core/Format.h"

#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>
#include <stdexcept>

namespace Zel::Tests
{

struct Unformattable
{
    bool throwsStandardException;
};

} // namespace Zel::Tests

template <>
struct fmt::formatter<Zel::Tests::Unformattable> : fmt::formatter<int>
{
    template <typename Context>
    typename Context::iterator format(const Zel::Tests::Unformattable& value, Context& context) const
    {
        if (value.throwsStandardException)
        {
            throw std::out_of_range("no text");
        }
        throw 42;
        return context.out();
    }
};

namespace Zel::System::Core
{

namespace
{

using Handler = Impl::BasicStringFormatExceptionHandler;
using Tests::Unformattable;
using Tests::Support::RecordingLog;

TEST(FormatTest, TextsGrowBeyondTheInlineBuffer)
{
    const String longText(100'000, 'x');
    EXPECT_EQ(Format("{0}-{1}-{0}", longText, 7), longText + "-7-" + longText);
    EXPECT_EQ(Format("{{{0}}}", "a"), "{a}");
}

TEST(FormatTest, AFailureIsLoggedAndGivesAnEmptyText)
{
    const RecordingLog log;
    EXPECT_EQ(FormatRuntime("{0} of {1}", 1), "");
    EXPECT_EQ(FormatRuntime("{0", 1), "");
    EXPECT_EQ(Format("a {}", Unformattable{true}), "");
    EXPECT_EQ(log->GetLines(), (std::vector<String>{
                                   "error LogManager: Failed to format text '{0} of {1}': argument not found",
                                   "error LogManager: Failed to format text '{0': invalid format string",
                                   "error LogManager: Failed to format text 'a {}': no text",
                               }));
}

TEST(FormatTest, AnExceptionThatIsNotAStandardOnePasses)
{
    EXPECT_THROW(static_cast<void>(Format("{}", Unformattable{false})), int);
}

TEST(FormatTest, AHandlerThatThrowsHarmsNobody)
{
    const Handler::Handler earlier =
        Handler::Set([](const String&, const String&) { throw std::runtime_error("handler"); });
    EXPECT_EQ(FormatRuntime("{0}"), "");
    Handler::Set(earlier);
}

} // namespace

} // namespace Zel::System::Core
