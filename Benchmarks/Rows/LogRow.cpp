#include "Rows/Rows.h"

#include "Allocations.h"
#include "Comparison.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Core/Format.h"

#include <cstdint>

namespace Zel::Benchmarks
{

/// An argument that tells whether it was formatted.
struct CountingArgument
{
    inline static std::uint64_t formatted = 0;
};

} // namespace Zel::Benchmarks

template <>
struct fmt::formatter<Zel::Benchmarks::CountingArgument> : fmt::formatter<int>
{
    template <typename Context>
    auto format(const Zel::Benchmarks::CountingArgument& /*argument*/, Context& context) const
    {
        ++Zel::Benchmarks::CountingArgument::formatted;
        return fmt::formatter<int>::format(0, context);
    }
};

namespace Zel::Benchmarks
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

class Chatty : private System::Commons::Diagnostics::Logging::Loggable<Chatty>
{
public:
    static void Say(const String& text)
    {
        const CountingArgument argument;
        Log(LogLevel::Trace, "Read {0} of {1}, {2}", 42, text, argument);
    }

    [[nodiscard]] static bool IsSilent() { return !GetLogger().IsEnabled(LogLevel::Trace); }
};

} // namespace

Results MeasureLogOff(const String& row, const Effort& effort)
{
    constexpr int Calls = 1000;
    const String text = "a text that is too long for the inside of a string";
    const bool isSilent = Chatty::IsSilent();
    const auto allocations = CountAllocations(
        [&text]
        {
            for (int call = 0; call < Calls; ++call)
            {
                Chatty::Say(text);
            }
        });
    const auto formatted = CountingArgument::formatted;
    // What a line that is on costs before anybody writes it.
    const auto format = [&text]
    { static_cast<void>(Format("Read {0} of {1}, {2}", 42, text, CountingArgument())); };
    const auto medians =
        CompareProcessorTime({{"off", [&text] { Chatty::Say(text); }}, {"format", format}}, effort);
    return {
        Judged(row, "allocations in 1000 calls", std::to_string(allocations), "none",
               isSilent && allocations == 0),
        Judged(row, "arguments formatted in 1000 calls", std::to_string(formatted), "none",
               isSilent && formatted == 0),
        Shown(row, "a call; its formatting alone", Format("{0:.1f} ns; {1:.0f} ns", medians[0], medians[1]))};
}

} // namespace Zel::Benchmarks
