#include "Zel/System/Core/Format.h"

#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>
#include <stdexcept>
#include <vector>

namespace Zel::System::Core
{

TEST(FormatTest, TextsGrowBeyondTheInlineBuffer)
{
    const String longText(100'000, 'x');
    EXPECT_EQ(Format("{{{0}}}-{1}-{0}", longText, 7), "{" + longText + "}-7-" + longText);
}

TEST(FormatTest, AFailureIsLoggedAndGivesAnEmptyTextWhateverItsHandlerDoes)
{
    using Impl::BasicStringFormatExceptionHandler;
    const Tests::Support::RecordingLog log;
    EXPECT_EQ(FormatRuntime("{0} of {1}", 1), "");
    const auto earlier = BasicStringFormatExceptionHandler::Set([](const String&, const String&)
                                                                { throw std::runtime_error("handler"); });
    EXPECT_EQ(FormatRuntime("{0", 1), "");
    BasicStringFormatExceptionHandler::Set(earlier);
    const String line = "error LogManager: Failed to format text '{0} of {1}': argument not found";
    EXPECT_EQ(log->GetLines(), std::vector<String>{line});
}

} // namespace Zel::System::Core
