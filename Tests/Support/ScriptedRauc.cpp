#include "Support/ScriptedRauc.h"

#include "Support/TemporaryFolder.h"
#include "Zel/Exception.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <tuple>

namespace Zel::Tests::Support
{

namespace
{

const String Installer = "de.pengutronix.rauc.Installer";

/// Percentage, text and nesting depth of "Progress", in order, some of those of RAUC 1.8.
using Steps = std::vector<std::tuple<std::int32_t, String, std::int32_t>>;

const Steps InfoSteps = {{0, "Checking bundle", 1}, {100, "Checking bundle done.", 1}};

/// A bundle that cannot be verified ends them after three.
Steps InstallationSteps(const String& slot)
{
    return {{0, "Installing", 1},
            {20, "Determining slot states done.", 2},
            {20, "Verifying signature", 3},
            {40, "Verifying signature done.", 3},
            {80, "Updating slots", 2},
            {90, "Copying image to " + slot, 3},
            {99, "Copying image to " + slot + " done.", 3},
            {100, "Installing done.", 1}};
}

BusWriter::Write ProgressEntry(std::int32_t percentage, const String& message, std::int32_t nestingDepth)
{
    const auto members = [=](auto& writer) { writer.Int32(percentage).Text(message).Int32(nestingDepth); };
    return [=](auto& entries)
    { entries.Entry("Progress", "(isi)", [=](auto& writer) { writer.Struct(members); }); };
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

ScriptedRauc::ScriptedRauc(const PrivateBus& bus) : busAddress(bus.GetAddress())
{
    Start();
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
    Locked(
        [&]
        {
            primary = slotName.empty() ? primary : slotName;
            for (ScriptedSlot& slot : slots)
            {
                slot.Set("state", slot.GetName() == primary ? "booted" : "inactive");
            }
        });
    Start();
}

void ScriptedRauc::EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth)
{
    EmitProperties(ProgressEntry(percentage, message, nestingDepth));
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

void ScriptedRauc::EmitSignal(const String& interfaceName, const String& signalName)
{
    Send(BusMessage::Signal("/", interfaceName, signalName));
}

bool ScriptedRauc::WaitForCall(const String& member)
{
    std::unique_lock lock(mutex);
    const auto isIn = [&](const auto& received)
    { return std::ranges::count(received, member, &Call::member) > 0; };
    return changed.wait_for(lock, std::chrono::seconds(10),
                            [&] { return isIn(calls) || isIn(propertyCalls); });
}

void ScriptedRauc::Send(const BusMessage& message)
{
    const std::lock_guard lock(mutex);
    if (peer != nullptr)
    {
        peer->Send(message);
    }
}

ScriptedSlot& ScriptedRauc::FindSlot(const String& state)
{
    const auto found = std::ranges::find(slots, state, [](auto& slot) { return slot.GetText("state"); });
    return found != slots.end() ? *found : throw Exception("No slot is " + state);
}

const std::pair<String, String>* ScriptedRauc::FindBundle(const String& path) const
{
    const bool isFile = !bundles.contains(path) && std::filesystem::exists(path);
    const auto bundle = bundles.find(isFile ? TemporaryFolder::Read(path) : path);
    return bundle == bundles.end() ? nullptr : &bundle->second;
}

void ScriptedRauc::Handle(const BusMessage& message)
{
    if (dbus_message_get_type(message.Get()) != DBUS_MESSAGE_TYPE_METHOD_CALL)
    {
        return;
    }
    const std::lock_guard lock(mutex);
    const Call call{message.GetMember(), message.GetArguments(), message.GetSignature()};
    const bool isProperty = call.member == "Get" && call.arguments.size() == 2;
    (isProperty ? propertyCalls : calls).push_back(call);
    changed.notify_all();
    const auto answer = answers.find(isProperty ? call.arguments[1] : call.member);
    if (answer == answers.end() && call.member.starts_with("Install"))
    {
        Install(message, call.arguments.at(0));
    }
    else if (const auto& given = answer != answers.end() ? answer->second : AnswerNormally(call); given.make)
    {
        Send(given.make(message));
    }
}

ScriptedAnswer ScriptedRauc::AnswerNormally(const Call& call)
{
    if (call.member == "Get")
    {
        const String text = call.arguments.at(1) == "Operation" ? operation : "Controller";
        return Answer::Values([=](auto& writer) { writer.Variant("s", [=](auto& w) { w.Text(text); }); });
    }
    if (isBusy)
    {
        return Answer::Refusal("already processing a different method");
    }
    if (call.member == "GetSlotStatus")
    {
        const auto writeSlots = [=, this](auto& writer)
        { std::ranges::for_each(slots, [&](auto& slot) { WriteSlot(slot, writer); }); };
        return Answer::Values([=](auto& writer) { writer.Array("(sa{sv})", writeSlots); });
    }
    if (call.member == "GetPrimary")
    {
        return Answer::Texts({primary});
    }
    return call.member == "Info" ? Info(call.arguments.at(0))
                                 : Mark(call.arguments.at(0), call.arguments.at(1));
}

ScriptedAnswer ScriptedRauc::Info(const String& path)
{
    const auto* bundle = FindBundle(path);
    if (bundle == nullptr)
    {
        return Answer::Refusal(
            "Invalid bundle format: Failed to open bundle for reading: Error opening file " + path +
            ": No such file or directory");
    }
    for (const auto& [percentage, message, nestingDepth] : InfoSteps)
    {
        EmitProgress(percentage, message, nestingDepth);
    }
    return Answer::Texts({bundle->first, bundle->second});
}

ScriptedAnswer ScriptedRauc::Mark(const String& state, const String& name)
{
    if (state != "active" || !std::ranges::count(slots, name, &ScriptedSlot::GetName))
    {
        return Answer::Refusal("No slot with name " + name + " found to be made " + state);
    }
    primary = name;
    return Answer::Texts({primary, "activated slot " + primary});
}

void ScriptedRauc::Install(const BusMessage& message, const String& bundle)
{
    if (isBusy)
    {
        Send(Answer::Refusal("Already processing a different method").make(message));
        EmitOperation("idle");
        return;
    }
    isBusy = true;
    EmitOperation("installing");
    Send(message.Return());
    EmitLastError("");
    TellSteps(0, heldAt.value_or(0));
    heldInstallation = bundle;
    if (!heldAt)
    {
        ReleaseInstallation();
    }
}

void ScriptedRauc::TellSteps(std::size_t begin, std::size_t end)
{
    auto steps = InstallationSteps(FindSlot("inactive").GetName());
    if (!failure.empty())
    {
        steps.resize(activates ? steps.size() - 1 : 3);
    }
    for (std::size_t i = begin; i < std::min(end, steps.size()); ++i)
    {
        std::apply([this](const auto&... step) { EmitProgress(step...); }, steps[i]);
    }
}

void ScriptedRauc::ReleaseInstallation()
{
    const std::lock_guard lock(mutex);
    const auto held = std::exchange(heldAt, std::nullopt);
    const auto bundle = std::exchange(heldInstallation, std::nullopt);
    if (!bundle)
    {
        return;
    }
    TellSteps(held.value_or(0), SIZE_MAX);
    if (failure.empty() || activates)
    {
        auto& target = FindSlot("inactive");
        const auto* installed = FindBundle(*bundle);
        primary = target.Written(installed != nullptr ? installed->second : "").GetName();
    }
    if (!failure.empty())
    {
        EmitProperties(
            [this](auto& entries)
            {
                ProgressEntry(100, "Installing failed.", 1)(entries);
                entries.TextEntry("LastError", failure);
            });
    }
    EmitCompleted(failure.empty() ? 0 : 1);
    EmitOperation("idle");
    isBusy = false;
}

} // namespace Zel::Tests::Support
