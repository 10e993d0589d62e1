#include "Cli/Facts.h"

#include "Cli/TimeText.h"
#include "Zel/System/Core/Format.h"

#include <utility>

namespace Zel::Host::Cli
{

using System::Core::Format;

namespace
{

String DescribeVerdict(const LastVerdict& verdict)
{
    const bool switchedBack = verdict.result == Api::Result::SwitchedBack;
    String text = switchedBack ? "switched-back (the device runs its earlier version)" : verdict.result;
    const auto append = [&text](const char* before, const String& piece)
    {
        if (!piece.empty())
        {
            text += before + piece;
        }
    };
    append(", version ", verdict.version);
    append(", ", ToTimeText(verdict.time));
    append(": ", verdict.reason);
    return text;
}

Fact OfLastVerdict(const LastVerdict& verdict)
{
    if (verdict.result.empty())
    {
        return {"Last verdict", "", {{"/lastVerdict", {}}}};
    }
    return {"Last verdict",
            DescribeVerdict(verdict),
            {{"/lastVerdict/result", verdict.result},
             {"/lastVerdict/switchedBack", verdict.result == Api::Result::SwitchedBack},
             {"/lastVerdict/version", Facts::TextOrNone(verdict.version)},
             {"/lastVerdict/reason", Facts::TextOrNone(verdict.reason)},
             {"/lastVerdict/time", Facts::TextOrNone(ToTimeText(verdict.time))}}};
}

Fact OfProgress(const ComponentState& state)
{
    const int percent = state.GetShownPercent();
    return {"Progress",
            Format("{0} %{1}{2}", percent, state.progressText.empty() ? "" : ", ", state.progressText),
            {{"/progress/percent", std::int64_t{percent}},
             {"/progress/text", Facts::TextOrNone(state.progressText)}}};
}

/// Before the versions were read nothing is known of one that is missing.
void AddVersions(std::vector<Fact>& facts, const ComponentState& state)
{
    const auto add = [&](const char* label, const char* pointer, const String& text)
    {
        Fact fact = Facts::Text(label, pointer, text);
        fact.text = text.empty() && !state.KnowsVersions() ? "unknown" : text;
        facts.push_back(std::move(fact));
    };
    add("Running version", "/versions/current", state.currentVersion);
    add("Pending version", "/versions/pending", state.pendingVersion);
    add("Fallback version", "/versions/fallback", state.fallbackVersion);
    add("Versions as of", "/versions/time", ToTimeText(state.versionsTime));
}

} // namespace

FactValue Facts::TextOrNone(const String& text)
{
    return text.empty() ? FactValue() : FactValue(text);
}

Fact Facts::Text(const String& label, const String& pointer, const String& text)
{
    return {label, text, {{pointer, TextOrNone(text)}}};
}

Fact Facts::YesOrNo(const String& label, const String& pointer, bool value)
{
    return {label, value ? "yes" : "no", {{pointer, value}}};
}

std::vector<Fact> Facts::OfVersions(const ComponentState& state)
{
    // The ID stands in every JSON object anyway.
    std::vector<Fact> facts = {{"Component", state.id, {}}};
    AddVersions(facts, state);
    return facts;
}

std::vector<Fact> Facts::OfComponent(const ComponentState& state)
{
    std::vector<Fact> facts = {{"Component", state.id, {}},
                               Text("State", "/state", state.state),
                               Text("Activity", "/activity", state.activity),
                               Text("Message", "/message", state.message),
                               OfProgress(state),
                               Text("Starts at", "/nextStart", ToTimeText(state.nextStart))};
    AddVersions(facts, state);
    facts.push_back(YesOrNo("Revertible", "/revertible", state.revertible));
    facts.push_back(OfLastVerdict(state.lastVerdict));
    facts.push_back(Text("Boot", "/bootId", state.bootId));
    return facts;
}

} // namespace Zel::Host::Cli
