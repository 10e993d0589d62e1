#include "Cli/Facts.h"

#include "Cli/Printable.h"
#include "Zel/DateTime.h"
#include "Zel/System/Core/Format.h"

#include <nlohmann/json.hpp>

namespace Zel::Host::Cli
{

using Json = nlohmann::ordered_json;
using System::Core::Format;

namespace
{

constexpr std::uint64_t MicrosecondsPerSecond = 1'000'000;
constexpr std::uint64_t LastSecond = 253'402'300'799; // end of the year 9999

Json TextOrNull(const String& text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

Json VerdictOrNull(const Verdict& verdict)
{
    if (verdict.result.empty())
    {
        return nullptr;
    }
    return {{"result", verdict.result},
            {"switchedBack", verdict.IsSwitchedBack()},
            {"version", TextOrNull(verdict.version)},
            {"reason", TextOrNull(verdict.reason)},
            {"time", TextOrNull(Facts::ToTime(verdict.time))}};
}

String DescribeVerdict(const Verdict& verdict)
{
    String text = verdict.IsSwitchedBack() ? "failed, the device switched back" : verdict.result;
    const auto append = [&text](const char* before, const String& piece)
    {
        if (!piece.empty())
        {
            text += before + piece;
        }
    };
    append(", version ", verdict.version);
    append(", ", Facts::ToTime(verdict.time));
    append(": ", verdict.reason);
    return text;
}

String DescribeProgress(const ComponentState& state)
{
    const String percent = Format("{0} %", state.GetShownPercent());
    return state.progressText.empty() ? percent : Format("{0}, {1}", percent, state.progressText);
}

class Lines
{
public:
    void Add(const char* label, const String& value)
    {
        const String shown = value.empty() ? "none" : Printable(value);
        lines.push_back(Format("{0:<19}{1}", String(label) + ":", shown));
    }

    [[nodiscard]] std::vector<String> Take() { return std::move(lines); }

private:
    std::vector<String> lines;
};

} // namespace

std::vector<String> Facts::ToLines(const ComponentState& state, FactSet facts)
{
    Lines lines;
    if (facts == FactSet::None)
    {
        return lines.Take();
    }
    lines.Add("Component", state.id);
    if (facts == FactSet::All)
    {
        lines.Add("State", state.state);
        lines.Add("Message", state.message);
        lines.Add("Progress", DescribeProgress(state));
        lines.Add("Starts at", ToTime(state.nextStart));
    }
    lines.Add("Running version", state.currentVersion);
    lines.Add("Pending version", state.pendingVersion);
    lines.Add("Fallback version", state.fallbackVersion);
    if (facts == FactSet::All)
    {
        lines.Add("Revertible", state.revertible ? "yes" : "no");
        lines.Add("Last verdict", DescribeVerdict(state.lastVerdict));
        lines.Add("Boot", state.bootId);
    }
    return lines.Take();
}

void Facts::AddTo(Json& object, const ComponentState& state, FactSet facts)
{
    if (facts == FactSet::None)
    {
        return;
    }
    if (facts == FactSet::All)
    {
        object["state"] = state.state;
        object["message"] = TextOrNull(state.message);
        object["progress"] = {{"percent", state.GetShownPercent()}, {"text", TextOrNull(state.progressText)}};
        object["nextStart"] = TextOrNull(ToTime(state.nextStart));
    }
    object["versions"] = {{"current", TextOrNull(state.currentVersion)},
                          {"pending", TextOrNull(state.pendingVersion)},
                          {"fallback", TextOrNull(state.fallbackVersion)}};
    if (facts == FactSet::All)
    {
        object["revertible"] = state.revertible;
        object["lastVerdict"] = VerdictOrNull(state.lastVerdict);
        object["bootId"] = TextOrNull(state.bootId);
    }
}

String Facts::ToTime(std::uint64_t microseconds)
{
    const std::uint64_t seconds = microseconds / MicrosecondsPerSecond;
    if (microseconds == 0 || seconds > LastSecond)
    {
        return {};
    }
    return DateTime::FromUnixTime(static_cast<std::int64_t>(seconds), 0).ToIso8601String();
}

} // namespace Zel::Host::Cli
