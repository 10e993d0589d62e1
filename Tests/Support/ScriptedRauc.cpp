#include "Support/ScriptedRauc.h"

#include <algorithm>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

const String ObjectPath = "/";
const String Installer = "de.pengutronix.rauc.Installer";
const String Properties = "org.freedesktop.DBus.Properties";

} // namespace

ScriptedRauc::ScriptedRauc(const PrivateBus& bus)
    : busAddress(bus.GetAddress()), slots{ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0"),
                                          ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")}
{
    Start();
}

ScriptedRauc::~ScriptedRauc()
{
    Vanish();
}

void ScriptedRauc::SetSlots(std::vector<ScriptedSlot> newSlots)
{
    const std::lock_guard lock(mutex);
    slots = std::move(newSlots);
}

ScriptedSlot ScriptedRauc::GetBootedSlot()
{
    const std::lock_guard lock(mutex);
    const auto* booted = FindSlot("state", "booted");
    return booted != nullptr ? *booted : ScriptedSlot("", "", "");
}

String ScriptedRauc::GetPrimary()
{
    const std::lock_guard lock(mutex);
    return primary;
}

void ScriptedRauc::AddBundle(const String& key, const String& version, const String& bundleCompatible)
{
    const std::lock_guard lock(mutex);
    bundles[key] = {version, bundleCompatible};
}

void ScriptedRauc::LetInstallationSucceed(Edition newEdition)
{
    const std::lock_guard lock(mutex);
    edition = newEdition;
    failure.clear();
    activates = true;
}

void ScriptedRauc::LetInstallationFail(const String& reason, bool isActivated)
{
    const std::lock_guard lock(mutex);
    edition = Edition::Rauc18;
    failure = reason;
    activates = isActivated;
}

void ScriptedRauc::HoldInstallation(std::size_t steps)
{
    const std::lock_guard lock(mutex);
    heldAt = steps;
}

void ScriptedRauc::ReleaseInstallation()
{
    const std::lock_guard lock(mutex);
    if (const auto bundle = std::exchange(heldInstallation, std::nullopt))
    {
        FinishInstallation(*bundle);
    }
    heldAt.reset();
}

void ScriptedRauc::Vanish()
{
    std::unique_ptr<BusPeer> gone;
    {
        const std::lock_guard lock(mutex);
        gone = std::move(peer);
        isEnding = true;
        isBusy = false;
        heldInstallation.reset();
    }
    changed.notify_all();
}

void ScriptedRauc::Start()
{
    const std::lock_guard lock(mutex);
    operation = "idle";
    lastError.clear();
    progress = {0, "", 0};
    isEnding = false;
    peer = std::make_unique<BusPeer>(busAddress, "de.pengutronix.rauc",
                                     [this](const BusMessage& message) { Handle(message); });
    EmitProperties(
        [this](BusWriter& entries)
        { entries.TextEntry("BootSlot", GetBootedSlot().GetName()).TextEntry("Compatible", "Controller"); });
}

void ScriptedRauc::Restart(const String& slotName)
{
    Vanish();
    {
        const std::lock_guard lock(mutex);
        primary = slotName.empty() ? primary : slotName;
        for (ScriptedSlot& slot : slots)
        {
            slot.Set("state", slot.GetName() == primary ? "booted" : "inactive");
        }
    }
    Start();
}

void ScriptedRauc::SetAnswer(const String& member, Answer answer)
{
    const std::lock_guard lock(mutex);
    answers[member] = std::move(answer);
}

void ScriptedRauc::SetNormalAnswer(const String& member)
{
    const std::lock_guard lock(mutex);
    answers.erase(member);
}

void ScriptedRauc::EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth)
{
    const std::lock_guard lock(mutex);
    progress = {percentage, message, nestingDepth};
    EmitProperties([this](BusWriter& entries)
                   { entries.Entry("Progress", "(isi)", ProgressContent(progress)); });
}

void ScriptedRauc::EmitLastError(const String& message)
{
    const std::lock_guard lock(mutex);
    lastError = message;
    EmitProperties([&](BusWriter& entries) { entries.TextEntry("LastError", message); });
}

void ScriptedRauc::EmitOperation(const String& newOperation)
{
    const std::lock_guard lock(mutex);
    // A property that keeps its value is not announced.
    if (std::exchange(operation, newOperation) != newOperation)
    {
        EmitProperties([&](BusWriter& entries) { entries.TextEntry("Operation", newOperation); });
    }
}

void ScriptedRauc::EmitCompleted(std::int32_t returnCode)
{
    Send(BusMessage::Signal(ObjectPath, Installer, "Completed")
             .With([&](BusWriter& writer) { writer.Int32(returnCode); }));
}

void ScriptedRauc::EmitProperties(const BusWriter::Write& entries, const String& interfaceName)
{
    Send(BusMessage::Signal(ObjectPath, Properties, "PropertiesChanged")
             .With([&](BusWriter& writer)
                   { writer.Text(interfaceName).Array("{sv}", entries).Array("s", [](BusWriter&) {}); }));
}

void ScriptedRauc::EmitForeignProperty(const String& interfaceName, const String& propertyName,
                                       const String& value)
{
    EmitProperties([&](BusWriter& entries) { entries.TextEntry(propertyName, value); }, interfaceName);
}

void ScriptedRauc::EmitSignal(const String& interfaceName, const String& signalName)
{
    Send(BusMessage::Signal(ObjectPath, interfaceName, signalName));
}

std::vector<ScriptedCall> ScriptedRauc::GetCalls()
{
    const std::lock_guard lock(mutex);
    return calls;
}

std::vector<ScriptedCall> ScriptedRauc::GetPropertyCalls()
{
    const std::lock_guard lock(mutex);
    return propertyCalls;
}

void ScriptedRauc::ClearCalls()
{
    const std::lock_guard lock(mutex);
    calls.clear();
    propertyCalls.clear();
}

bool ScriptedRauc::WaitForCalls(const String& member, std::size_t count, std::chrono::milliseconds deadline)
{
    std::unique_lock lock(mutex);
    const auto hasCalls = [&](const std::vector<Call>& received)
    { return static_cast<std::size_t>(std::ranges::count(received, member, &Call::member)) >= count; };
    return changed.wait_for(lock, deadline, [&] { return hasCalls(calls) || hasCalls(propertyCalls); });
}

BusWriter::Write ScriptedRauc::ProgressContent(const RaucProgressStep& step)
{
    return [step](BusWriter& writer)
    {
        writer.Struct([&step](BusWriter& members)
                      { members.Int32(step.percentage).Text(step.message).Int32(step.nestingDepth); });
    };
}

void ScriptedRauc::Send(const BusMessage& message)
{
    const std::lock_guard lock(mutex);
    if (peer != nullptr)
    {
        peer->Send(message);
    }
}

ScriptedSlot* ScriptedRauc::FindSlot(const String& key, const String& text)
{
    const auto found =
        std::ranges::find_if(slots, [&](const ScriptedSlot& slot) { return slot.GetText(key) == text; });
    return found == slots.end() ? nullptr : &*found;
}

} // namespace Zel::Tests::Support
