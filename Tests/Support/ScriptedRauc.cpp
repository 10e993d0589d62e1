#include "Support/ScriptedRauc.h"

#include "Support/TemporaryFolder.h"
#include "Zel/Exception.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

const String Installer = "de.pengutronix.rauc.Installer";

/// Percentage, text and nesting depth of "Progress", some of those of RAUC 1.8.
struct Progress
{
    std::int32_t percentage;
    String message;
    std::int32_t nestingDepth;
};

/// A bundle that cannot be written ends them after two.
std::vector<Progress> InstallationSteps(const String& slot)
{
    return {{0, "Installing", 1},
            {80, "Updating slots", 2},
            {90, "Copying image to " + slot, 3},
            {100, "Installing done.", 1}};
}

BusWriter& AddProgress(BusWriter& entries, const Progress& step)
{
    const auto members = [&](auto& writer)
    { writer.Int32(step.percentage).Text(step.message).Int32(step.nestingDepth); };
    return entries.Entry("Progress", "(isi)", [&](auto& writer) { writer.Struct(members); });
}

void WriteSlot(const ScriptedSlot& slot, BusWriter& slots)
{
    const auto entries = [&](auto& writer) {
        std::ranges::for_each(slot.GetTexts(),
                              [&](auto& pair) { writer.TextEntry(pair.first, pair.second); });
    };
    slots.Struct([&](auto& members) { members.Text(slot.GetName()).Array("{sv}", entries); });
}

} // namespace

ScriptedSlot& RaucScript::FindSlot(const String& state)
{
    const auto found = std::ranges::find(slots, state, [](auto& slot) { return slot.GetText("state"); });
    return found != slots.end() ? *found : throw Exception("No slot is " + state);
}

std::pair<String, String> RaucScript::FindBundle(const String& path) const
{
    const bool isFile = !bundles.contains(path) && std::filesystem::exists(path);
    const auto bundle = bundles.find(isFile ? TemporaryFolder::Read(path) : path);
    return bundle == bundles.end() ? std::pair<String, String>() : bundle->second;
}

void ScriptedRauc::Vanish()
{
    std::unique_ptr<BusPeer> gone;
    const std::lock_guard lock(mutex);
    gone = std::move(peer);
    isBusy = false;
    heldInstallation.reset();
}

void ScriptedRauc::Start()
{
    const std::lock_guard lock(mutex);
    operation = "idle";
    peer = std::make_unique<BusPeer>(busAddress, "de.pengutronix.rauc",
                                     [this](const BusMessage& message) { Handle(message); });
    EmitProperties([](auto& entries) { entries.TextEntry("BootSlot", "").TextEntry("Compatible", ""); });
}

void ScriptedRauc::Restart(const String& slotName)
{
    Vanish();
    for (auto script = operator->(); ScriptedSlot & slot : script->slots)
    {
        script->primary = slotName.empty() ? script->primary : slotName;
        slot.Set("state", slot.GetName() == script->primary ? "booted" : "inactive");
    }
    Start();
}

void ScriptedRauc::EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth)
{
    EmitProperties([&](auto& entries) { AddProgress(entries, {percentage, message, nestingDepth}); });
}

void ScriptedRauc::EmitOperation(const String& newOperation)
{
    const std::lock_guard lock(mutex);
    // A property that keeps its value is not announced.
    if (std::exchange(operation, newOperation) != newOperation)
    {
        EmitProperties([&](auto& entries) { entries.TextEntry("Operation", newOperation); });
    }
}

void ScriptedRauc::EmitCompleted(std::int32_t returnCode)
{
    Send(BusMessage::Signal("/", Installer, "Completed").With([=](auto& w) { w.Int32(returnCode); }));
}

void ScriptedRauc::EmitProperties(const BusWriter::Write& entries, const String& interfaceName)
{
    Send(BusMessage::Signal("/", "org.freedesktop.DBus.Properties", "PropertiesChanged")
             .With([&](auto& w) { w.Text(interfaceName).Array("{sv}", entries).Array("s", [](auto&) {}); }));
}

bool ScriptedRauc::WaitForCall(const String& member)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(10),
                            [&]
                            { return std::ranges::count(script.calls, member, &ScriptedCall::member) > 0; });
}

void ScriptedRauc::Send(const BusMessage& message)
{
    const std::lock_guard lock(mutex);
    if (peer != nullptr)
    {
        peer->Send(message);
    }
}

void ScriptedRauc::Handle(const BusMessage& message)
{
    if (dbus_message_get_type(message.Get()) != DBUS_MESSAGE_TYPE_METHOD_CALL)
    {
        return;
    }
    const std::lock_guard lock(mutex);
    ScriptedCall call{message.GetMember(), message.GetArguments(), message.GetSignature()};
    call.member = call.member == "Get" ? call.arguments.at(1) : call.member;
    script.calls.push_back(call);
    changed.notify_all();
    const auto found = script.answers.find(call.member);
    const auto given = found != script.answers.end() ? found->second : Answer(call);
    if (given.isOnce)
    {
        script.answers.erase(found);
    }
    if (found == script.answers.end() && !isBusy && call.member.starts_with("Install"))
    {
        Install(message, call.arguments.at(0));
    }
    else if (given.make)
    {
        Send(given.make(message));
    }
}

ScriptedAnswer ScriptedRauc::Answer(const ScriptedCall& call)
{
    if (call.member == "Operation" || call.member == "Compatible")
    {
        const String text = call.member == "Operation" ? operation : "Controller";
        return ScriptedAnswer::Values([=](auto& writer)
                                      { writer.Variant("s", [=](auto& w) { w.Text(text); }); });
    }
    if (isBusy)
    {
        return ScriptedAnswer::Refusal("already processing a different method");
    }
    if (call.member == "GetSlotStatus")
    {
        const auto writeSlots = [=, this](auto& writer)
        { std::ranges::for_each(script.slots, [&](auto& slot) { WriteSlot(slot, writer); }); };
        return ScriptedAnswer::Values([=](auto& writer) { writer.Array("(sa{sv})", writeSlots); });
    }
    if (call.member == "Info" || call.member == "Mark")
    {
        return call.member == "Info" ? Info(call.arguments.at(0)) : Mark(call.arguments.at(1));
    }
    return ScriptedAnswer::Texts({script.primary});
}

ScriptedAnswer ScriptedRauc::Info(const String& path)
{
    const auto [compatible, version] = script.FindBundle(path);
    if (compatible.empty())
    {
        return ScriptedAnswer::Refusal(
            "Invalid bundle format: Failed to open bundle for reading: Error opening file " + path +
            ": No such file or directory");
    }
    EmitProgress(0, "Checking bundle", 1);
    EmitProgress(100, "Checking bundle done.", 1);
    return ScriptedAnswer::Texts({compatible, version});
}

ScriptedAnswer ScriptedRauc::Mark(const String& name)
{
    script.primary = name;
    return ScriptedAnswer::Texts({name, "activated slot " + name});
}

void ScriptedRauc::Install(const BusMessage& message, const String& bundle)
{
    isBusy = true;
    EmitOperation("installing");
    Send(message.Return());
    EmitLastError("");
    TellSteps(0, script.heldAt.value_or(0));
    heldInstallation = bundle;
    if (!script.heldAt)
    {
        ReleaseInstallation();
    }
}

void ScriptedRauc::TellSteps(std::size_t begin, std::size_t end)
{
    auto steps = InstallationSteps(script.FindSlot("inactive").GetName());
    if (!script.failure.empty())
    {
        steps.resize(script.activates ? steps.size() - 1 : 2);
    }
    for (std::size_t i = begin; i < std::min(end, steps.size()); ++i)
    {
        EmitProperties([&](auto& entries) { AddProgress(entries, steps[i]); });
    }
}

void ScriptedRauc::ReleaseInstallation()
{
    const std::lock_guard lock(mutex);
    const auto held = std::exchange(script.heldAt, std::nullopt);
    const auto bundle = std::exchange(heldInstallation, std::nullopt);
    if (!bundle)
    {
        return;
    }
    TellSteps(held.value_or(0), SIZE_MAX);
    const String& failure = script.failure;
    if (failure.empty() || script.activates)
    {
        auto& target = script.FindSlot("inactive");
        script.primary = target.Written(script.FindBundle(*bundle).second).GetName();
    }
    if (!failure.empty())
    {
        EmitProperties(
            [&](auto& entries) {
                AddProgress(entries, {100, "Installing failed.", 1}).TextEntry("LastError", failure);
            });
    }
    EmitCompleted(failure.empty() ? 0 : 1);
    EmitOperation("idle");
    isBusy = false;
}

} // namespace Zel::Tests::Support
