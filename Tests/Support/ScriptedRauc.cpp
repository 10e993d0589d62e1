#include "Support/ScriptedRauc.h"

#include "Support/ScriptedRaucService.h"

#include <utility>

namespace Zel::Tests::Support
{

ScriptedRauc::ScriptedRauc(const PrivateBus& bus)
    : service(std::make_unique<ScriptedRaucService>(bus.GetAddress()))
{
    service->slots = {ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0"),
                      ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")};
    service->primary = "rootfs.0";
    service->Start();
}

ScriptedRauc::~ScriptedRauc()
{
    service->Vanish();
}

void ScriptedRauc::SetSlots(std::vector<ScriptedSlot> slots)
{
    service->With([&](ScriptedRaucService& state) { state.slots = std::move(slots); });
}

std::vector<ScriptedSlot> ScriptedRauc::GetSlots() const
{
    return service->With([](ScriptedRaucService& state) { return state.slots; });
}

String ScriptedRauc::GetPrimary() const
{
    return service->With([](ScriptedRaucService& state) { return state.primary; });
}

void ScriptedRauc::AddBundle(const String& path, const String& version, const String& compatible)
{
    service->With([&](ScriptedRaucService& state) { state.bundles[path] = {version, compatible}; });
}

void ScriptedRauc::LetInstallationSucceed(Edition edition)
{
    service->With(
        [&](ScriptedRaucService& state) {
            state.script = {edition, "", true, state.script.isHeld};
        });
}

void ScriptedRauc::LetInstallationFail(const String& error, bool primaryChanges)
{
    service->With(
        [&](ScriptedRaucService& state) {
            state.script = {Edition::Rauc18, error, primaryChanges, state.script.isHeld};
        });
}

void ScriptedRauc::HoldInstallation()
{
    service->With([](ScriptedRaucService& state) { state.script.isHeld = true; });
}

void ScriptedRauc::ReleaseInstallation()
{
    service->With(
        [](ScriptedRaucService& state)
        {
            state.script.isHeld = false;
            state.ReleaseInstallation();
        });
}

bool ScriptedRauc::IsBusy() const
{
    return service->With([](ScriptedRaucService& state) { return state.isBusy; });
}

void ScriptedRauc::Vanish()
{
    service->Vanish();
}

void ScriptedRauc::Start()
{
    service->Start();
}

void ScriptedRauc::Restart(const String& slotName)
{
    service->Vanish();
    service->With([&slotName](ScriptedRaucService& state)
                  { state.Boot(slotName.empty() ? state.primary : slotName); });
    service->Start();
}

void ScriptedRauc::SetAnswer(const String& member, Answer answer)
{
    service->With([&](ScriptedRaucService& state) { state.answers[member] = std::move(answer); });
}

void ScriptedRauc::SetNormalAnswer(const String& member)
{
    service->With([&](ScriptedRaucService& state) { state.answers.erase(member); });
}

void ScriptedRauc::EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth)
{
    service->With(
        [&](ScriptedRaucService& state) {
            state.SetProgress({percentage, message, nestingDepth});
        });
}

void ScriptedRauc::EmitLastError(const String& message)
{
    service->With([&](ScriptedRaucService& state) { state.SetLastError(message); });
}

void ScriptedRauc::EmitOperation(const String& operation)
{
    service->With([&](ScriptedRaucService& state) { state.SetOperation(operation); });
}

void ScriptedRauc::EmitCompleted(std::int32_t returnCode)
{
    service->With([&](ScriptedRaucService& state) { state.EmitCompleted(returnCode); });
}

void ScriptedRauc::EmitForeignProperty(const String& interfaceName, const String& propertyName,
                                       const String& value)
{
    service->With([&](ScriptedRaucService& state)
                  { state.EmitTextProperty(interfaceName, propertyName, value); });
}

void ScriptedRauc::EmitSignal(const String& interfaceName, const String& signalName)
{
    service->With([&](ScriptedRaucService& state) { state.EmitSignal(interfaceName, signalName); });
}

std::vector<ScriptedRauc::Call> ScriptedRauc::GetCalls() const
{
    return service->With([](ScriptedRaucService& state) { return state.calls; });
}

std::vector<ScriptedRauc::Call> ScriptedRauc::GetPropertyCalls() const
{
    return service->With([](ScriptedRaucService& state) { return state.propertyCalls; });
}

void ScriptedRauc::ClearCalls()
{
    service->With(
        [](ScriptedRaucService& state)
        {
            state.calls.clear();
            state.propertyCalls.clear();
        });
}

bool ScriptedRauc::WaitForCalls(const String& member, std::size_t count,
                                std::chrono::milliseconds deadline) const
{
    return service->WaitForCalls(member, count, deadline);
}

} // namespace Zel::Tests::Support
