// What the scripted RAUC does when it is called.

#include "Support/ScriptedRauc.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

void WriteEntry(const String& key, const ScriptedSlot::Value& value, BusWriter& entries)
{
    if (const auto* text = std::get_if<String>(&value))
    {
        entries.TextEntry(key, *text);
    }
    else if (const auto* count = std::get_if<std::uint32_t>(&value))
    {
        entries.Entry(key, "u", [count](BusWriter& writer) { writer.Uint32(*count); });
    }
    else
    {
        entries.Entry(key, "t", [&](BusWriter& writer) { writer.Uint64(std::get<std::uint64_t>(value)); });
    }
}

void WriteSlot(const ScriptedSlot& slot, BusWriter& slots)
{
    const auto writeEntries = [&](BusWriter& entries)
    {
        for (const auto& [key, value] : slot.GetValues())
        {
            WriteEntry(key, value, entries);
        }
    };
    slots.Struct([&](BusWriter& members) { members.Text(slot.GetName()).Array("{sv}", writeEntries); });
}

BusMessage Refuse(const BusMessage& message, const String& text)
{
    return ScriptedAnswer::Refusal(text).make(message);
}

BusMessage AnswerTexts(const BusMessage& message, const std::vector<String>& texts)
{
    return ScriptedAnswer::Texts(texts).make(message);
}

} // namespace

void ScriptedRauc::Handle(const BusMessage& message)
{
    if (!message.IsMethodCall())
    {
        return;
    }
    std::unique_lock lock(mutex);
    const Call call{message.GetMember(), message.GetArguments(), message.GetSignature()};
    const bool isProperty = call.member == "Get" && call.arguments.size() == 2;
    (isProperty ? propertyCalls : calls).push_back(call);
    changed.notify_all();
    const auto answer = answers.find(isProperty ? call.arguments[1] : call.member);
    if (answer == answers.end() || answer->second.uses-- < 1)
    {
        AnswerNormally(message, call);
    }
    else if (answer->second.make)
    {
        Send(answer->second.make(message));
    }
    else if (const auto delay = answer->second.delay;
             delay.count() > 0 && !changed.wait_for(lock, delay, [this] { return isEnding; }))
    {
        AnswerNormally(message, call);
    }
}

void ScriptedRauc::AnswerNormally(const BusMessage& message, const Call& call)
{
    if (call.member == "Install" || call.member == "InstallBundle")
    {
        Install(message, call);
    }
    else if (call.member == "Get")
    {
        Send(Get(message, call));
    }
    else if (isBusy)
    {
        Send(Refuse(message, "already processing a different method"));
    }
    else if (call.member == "Info")
    {
        Send(Info(message, call));
    }
    else if (call.member == "Mark")
    {
        Send(Mark(message, call));
    }
    else if (call.member == "GetPrimary")
    {
        Send(AnswerTexts(message, {primary}));
    }
    else if (call.member == "GetSlotStatus")
    {
        const auto writeSlots = [this](BusWriter& written)
        { std::ranges::for_each(slots, [&](const auto& slot) { WriteSlot(slot, written); }); };
        Send(message.Return().With([&](BusWriter& writer) { writer.Array("(sa{sv})", writeSlots); }));
    }
    else
    {
        Send(message.Error("org.freedesktop.DBus.Error.UnknownMethod", "No such method " + call.member));
    }
}

BusMessage ScriptedRauc::Get(const BusMessage& message, const Call& call)
{
    const std::map<String, String> texts = {{"Operation", operation},
                                            {"LastError", lastError},
                                            {"Compatible", "Controller"},
                                            {"Variant", ""},
                                            {"BootSlot", GetBootedSlot().GetName()}};
    const String& name = call.arguments.at(1);
    if (name == "Progress")
    {
        return message.Return().With([this](BusWriter& writer)
                                     { writer.Variant("(isi)", ProgressContent(progress)); });
    }
    const auto text = texts.find(name);
    if (text == texts.end())
    {
        return message.Error("org.freedesktop.DBus.Error.InvalidArgs", "No such property " + name);
    }
    return message.Return().With(
        [&](BusWriter& writer)
        { writer.Variant("s", [&](BusWriter& content) { content.Text(text->second); }); });
}

BusMessage ScriptedRauc::Info(const BusMessage& message, const Call& call)
{
    const auto* bundle = FindBundle(call.arguments.at(0));
    if (bundle == nullptr)
    {
        return Refuse(message,
                      "Invalid bundle format: Failed to open bundle for reading: Error opening file " +
                          call.arguments[0] + ": No such file or directory");
    }
    for (const auto& step : RaucProgressScript::Info())
    {
        EmitProgress(step.percentage, step.message, step.nestingDepth);
    }
    return AnswerTexts(message, {bundle->compatible, bundle->version});
}

const ScriptedRauc::Bundle* ScriptedRauc::FindBundle(const String& path) const
{
    const auto bundle = bundles.find(
        std::filesystem::exists(path) && !bundles.contains(path) ? TemporaryFolder::Read(path) : path);
    return bundle == bundles.end() ? nullptr : &bundle->second;
}

BusMessage ScriptedRauc::Mark(const BusMessage& message, const Call& call)
{
    const String& state = call.arguments.at(0);
    const String& name = call.arguments.at(1);
    const auto slot = std::ranges::find(slots, name, &ScriptedSlot::GetName);
    if (slot == slots.end())
    {
        return Refuse(message, "No slot with class " + name.substr(0, name.find('.')) + " and name " + name +
                                   " found");
    }
    if (state != "active")
    {
        return Refuse(message, "unknown subcommand " + state);
    }
    primary = name;
    return AnswerTexts(message, {primary, "activated slot " + primary});
}

void ScriptedRauc::Install(const BusMessage& message, const Call& call)
{
    if (isBusy)
    {
        Send(Refuse(message, "Already processing a different method"));
        EmitOperation("idle");
        return;
    }
    isBusy = true;
    EmitOperation("installing");
    Send(message.Return());
    EmitLastError("");
    TellSteps(0, heldAt.value_or(RaucProgressScript::PreparationSteps));
    heldInstallation = call.arguments.at(0);
    if (!heldAt.has_value())
    {
        ReleaseInstallation();
    }
}

void ScriptedRauc::TellSteps(std::size_t begin, std::size_t end)
{
    auto* target = FindSlot("state", "inactive");
    const auto steps =
        target != nullptr && (failure.empty() || activates)
            ? RaucProgressScript::Installation(edition, target->GetName(), target->GetText("bootname"))
            : RaucProgressScript::FailedInstallation();
    for (std::size_t i = begin; i < std::min(end, steps.size()); ++i)
    {
        if (steps[i].message.starts_with("Copying image"))
        {
            target->Set("boot-status", "bad");
        }
        if (steps[i].message != "Installing done." || failure.empty())
        {
            EmitProgress(steps[i].percentage, steps[i].message, steps[i].nestingDepth);
        }
    }
}

void ScriptedRauc::FinishInstallation(const String& bundle)
{
    TellSteps(heldAt.value_or(RaucProgressScript::PreparationSteps), SIZE_MAX);
    auto* target = FindSlot("state", "inactive");
    const bool succeeds = failure.empty() && target != nullptr;
    if (target != nullptr && (succeeds || activates))
    {
        const auto* installed = FindBundle(bundle);
        target->Written(installed != nullptr ? installed->version : "").Set("boot-status", "good");
        primary = target->GetName();
    }
    if (!succeeds)
    {
        progress = {100, "Installing failed.", 1};
        lastError = failure.empty() ? "No target slot" : failure;
        EmitProperties(
            [this](BusWriter& entries) {
                entries.Entry("Progress", "(isi)", ProgressContent(progress))
                    .TextEntry("LastError", lastError);
            });
    }
    EmitCompleted(succeeds ? 0 : 1);
    EmitOperation("idle");
    isBusy = false;
}

} // namespace Zel::Tests::Support
