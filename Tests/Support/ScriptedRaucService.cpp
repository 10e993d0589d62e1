#include "Support/ScriptedRaucService.h"

#include <algorithm>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

const String BusName = "de.pengutronix.rauc";
const String ObjectPath = "/";
const String Installer = "de.pengutronix.rauc.Installer";
const String Properties = "org.freedesktop.DBus.Properties";

BusWriter::Write TextContent(const String& text)
{
    return [text](BusWriter& writer) { writer.Text(text); };
}

BusWriter::Write ProgressContent(const RaucProgressStep& step)
{
    return [step](BusWriter& writer)
    {
        writer.Struct([&step](BusWriter& members)
                      { members.Int32(step.percentage).Text(step.message).Int32(step.nestingDepth); });
    };
}

void WriteSlotValue(const String& key, const ScriptedSlot::Value& value, BusWriter& entries)
{
    if (const auto* text = std::get_if<String>(&value))
    {
        entries.Entry(key, "s", TextContent(*text));
    }
    else if (const auto* count = std::get_if<std::uint32_t>(&value))
    {
        entries.Entry(key, "u", [count](BusWriter& writer) { writer.Uint32(*count); });
    }
    else
    {
        entries.Entry(key, "t",
                      [&value](BusWriter& writer) { writer.Uint64(std::get<std::uint64_t>(value)); });
    }
}

void WriteSlot(const ScriptedSlot& slot, BusWriter& slots)
{
    slots.Struct(
        [&slot](BusWriter& members)
        {
            members.Text(slot.GetName())
                .Array("{sv}",
                       [&slot](BusWriter& entries)
                       {
                           for (const auto& [key, value] : slot.GetValues())
                           {
                               WriteSlotValue(key, value, entries);
                           }
                       });
        });
}

} // namespace

ScriptedRaucService::ScriptedRaucService(String busAddress) : busAddress(std::move(busAddress)) {}

void ScriptedRaucService::Start()
{
    const std::lock_guard lock(mutex);
    operation = "idle";
    lastError.clear();
    progress = {0, "", 0};
    isEnding = false;
    peer = std::make_unique<BusPeer>(busAddress, BusName,
                                     [this](const BusMessage& message) { Handle(message); });
    EmitProperties(
        [this](BusWriter& entries)
        {
            entries.Entry("BootSlot", "s", TextContent(BootedSlotName()));
            entries.Entry("Compatible", "s", TextContent(compatible));
        },
        Installer);
}

void ScriptedRaucService::Vanish()
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

bool ScriptedRaucService::WaitForCalls(const String& member, std::size_t count,
                                       std::chrono::milliseconds deadline)
{
    std::unique_lock lock(mutex);
    const auto hasCalls = [&](const std::vector<ScriptedCall>& received) {
        return static_cast<std::size_t>(std::ranges::count(received, member, &ScriptedCall::member)) >= count;
    };
    return changed.wait_for(lock, deadline, [&] { return hasCalls(calls) || hasCalls(propertyCalls); });
}

void ScriptedRaucService::SetOperation(const String& value)
{
    // A property that keeps its value is not announced.
    if (std::exchange(operation, value) != value)
    {
        EmitTextProperty(Installer, "Operation", value);
    }
}

void ScriptedRaucService::SetProgress(const RaucProgressStep& step)
{
    progress = step;
    EmitProperties([&step](BusWriter& entries) { entries.Entry("Progress", "(isi)", ProgressContent(step)); },
                   Installer);
}

void ScriptedRaucService::SetLastError(const String& text)
{
    lastError = text;
    EmitTextProperty(Installer, "LastError", text);
}

void ScriptedRaucService::EmitCompleted(std::int32_t returnCode)
{
    Send(BusMessage::Signal(ObjectPath, Installer, "Completed")
             .With([&](BusWriter& writer) { writer.Int32(returnCode); }));
}

void ScriptedRaucService::EmitProperties(const BusWriter::Write& entries, const String& interfaceName)
{
    Send(BusMessage::Signal(ObjectPath, Properties, "PropertiesChanged")
             .With([&](BusWriter& writer)
                   { writer.Text(interfaceName).Array("{sv}", entries).Array("s", [](BusWriter&) {}); }));
}

void ScriptedRaucService::EmitTextProperty(const String& interfaceName, const String& name,
                                           const String& text)
{
    EmitProperties([&](BusWriter& entries) { entries.Entry(name, "s", TextContent(text)); }, interfaceName);
}

void ScriptedRaucService::EmitSignal(const String& interfaceName, const String& signalName)
{
    Send(BusMessage::Signal(ObjectPath, interfaceName, signalName));
}

void ScriptedRaucService::Boot(String slotName)
{
    if (auto* previous = FindSlot("state", "booted"))
    {
        previous->Set("state", "inactive");
    }
    if (auto* booted = SlotOfName(slotName))
    {
        booted->Set("state", "booted");
    }
    primary = std::move(slotName);
}

void ScriptedRaucService::Send(const BusMessage& message)
{
    if (peer != nullptr)
    {
        peer->Send(message);
    }
}

void ScriptedRaucService::Handle(const BusMessage& message)
{
    if (!message.IsMethodCall())
    {
        return;
    }
    std::unique_lock lock(mutex);
    const ScriptedCall call{message.GetMember(), message.GetArguments(), message.GetSignature()};
    const bool isProperty = call.member == "Get" && call.arguments.size() == 2;
    (isProperty ? propertyCalls : calls).push_back(call);
    changed.notify_all();
    const auto answer = answers.find(isProperty ? call.arguments[1] : call.member);
    if (answer == answers.end() || ShallAnswerNormally(message, ScriptedAnswer(answer->second), lock))
    {
        AnswerNormally(message, call);
    }
}

bool ScriptedRaucService::ShallAnswerNormally(const BusMessage& message, const ScriptedAnswer& answer,
                                              std::unique_lock<std::mutex>& lock)
{
    switch (answer.GetKind())
    {
    case ScriptedAnswer::Kind::Late:
        return !changed.wait_for(lock, answer.GetDelay(), [this] { return isEnding; });
    case ScriptedAnswer::Kind::Error:
        Send(message.Error(answer.GetTexts()[0], answer.GetTexts()[1]));
        return false;
    case ScriptedAnswer::Kind::Texts:
        AnswerTexts(message, answer.GetTexts());
        return false;
    default:
        return false;
    }
}

void ScriptedRaucService::AnswerNormally(const BusMessage& message, const ScriptedCall& call)
{
    using Method = void (ScriptedRaucService::*)(const BusMessage&, const ScriptedCall&);
    static const std::map<String, Method> Methods = {
        {"Get", &ScriptedRaucService::Get},
        {"Info", &ScriptedRaucService::Info},
        {"Install", &ScriptedRaucService::Install},
        {"InstallBundle", &ScriptedRaucService::Install},
        {"Mark", &ScriptedRaucService::Mark},
        {"GetPrimary", &ScriptedRaucService::AnswerPrimary},
        {"GetSlotStatus", &ScriptedRaucService::AnswerSlotStatus}};
    const auto method = Methods.find(call.member);
    if (method == Methods.end())
    {
        Send(message.Error("org.freedesktop.DBus.Error.UnknownMethod", "No such method " + call.member));
    }
    else if (isBusy && call.member != "Get" && method->second != &ScriptedRaucService::Install)
    {
        Refuse(message, "already processing a different method");
    }
    else
    {
        (this->*method->second)(message, call);
    }
}

void ScriptedRaucService::Refuse(const BusMessage& message, const String& text)
{
    Send(message.Error(ScriptedAnswer::RefusalError, text));
}

void ScriptedRaucService::AnswerTexts(const BusMessage& message, const std::vector<String>& texts)
{
    Send(message.Return().With(
        [&texts](BusWriter& writer)
        { std::ranges::for_each(texts, [&writer](const String& text) { writer.Text(text); }); }));
}

void ScriptedRaucService::Get(const BusMessage& message, const ScriptedCall& call)
{
    const std::map<String, String> texts = {{"Operation", operation},
                                            {"LastError", lastError},
                                            {"Compatible", compatible},
                                            {"Variant", ""},
                                            {"BootSlot", BootedSlotName()}};
    const String& name = call.arguments.at(1);
    const auto text = texts.find(name);
    if (call.arguments[0] == Installer && name == "Progress")
    {
        Send(message.Return().With([this](BusWriter& writer)
                                   { writer.Variant("(isi)", ProgressContent(progress)); }));
    }
    else if (call.arguments[0] == Installer && text != texts.end())
    {
        Send(message.Return().With([&](BusWriter& writer)
                                   { writer.Variant("s", TextContent(text->second)); }));
    }
    else
    {
        Send(message.Error("org.freedesktop.DBus.Error.InvalidArgs", "No such property " + name));
    }
}

void ScriptedRaucService::Info(const BusMessage& message, const ScriptedCall& call)
{
    const auto bundle = bundles.find(call.arguments.at(0));
    if (bundle == bundles.end())
    {
        Refuse(message, "Invalid bundle format: Failed to open bundle for reading: Error opening file " +
                            call.arguments[0] + ": No such file or directory");
        return;
    }
    std::ranges::for_each(RaucProgressScript::Info(), [this](const auto& step) { SetProgress(step); });
    AnswerTexts(message, {bundle->second.compatible, bundle->second.version});
}

void ScriptedRaucService::Install(const BusMessage& message, const ScriptedCall& call)
{
    if (isBusy)
    {
        Refuse(message, "Already processing a different method");
        SetOperation("idle");
        return;
    }
    isBusy = true;
    SetOperation("installing");
    Send(message.Return());
    SetLastError("");
    const auto steps = InstallationSteps();
    std::for_each_n(steps.begin(), RaucProgressScript::PreparationSteps,
                    [this](const auto& step) { SetProgress(step); });
    heldInstallation = call.arguments.at(0);
    if (!script.isHeld)
    {
        ReleaseInstallation();
    }
}

std::vector<RaucProgressStep> ScriptedRaucService::InstallationSteps()
{
    const auto* target = FindSlot("state", "inactive");
    return script.error.empty() && target != nullptr
               ? RaucProgressScript::Installation(script.edition, target->GetName(),
                                                  target->GetText("bootname"))
               : RaucProgressScript::FailedInstallation();
}

void ScriptedRaucService::ReleaseInstallation()
{
    if (const auto bundle = std::exchange(heldInstallation, std::nullopt))
    {
        FinishInstallation(*bundle);
    }
}

void ScriptedRaucService::FinishInstallation(const String& bundle)
{
    const auto steps = InstallationSteps();
    std::for_each(steps.begin() + RaucProgressScript::PreparationSteps, steps.end(),
                  [this](const auto& step) { SetProgress(step); });
    auto* target = FindSlot("state", "inactive");
    const bool succeeds = script.error.empty() && target != nullptr;
    if (succeeds)
    {
        target->Written(bundles[bundle].version);
    }
    else
    {
        TellFailure();
    }
    if (target != nullptr && script.primaryChanges)
    {
        primary = target->GetName();
    }
    EmitCompleted(succeeds ? 0 : 1);
    SetOperation("idle");
    isBusy = false;
}

void ScriptedRaucService::TellFailure()
{
    progress = {100, "Installing failed.", 1};
    lastError = script.error.empty() ? "No target slot" : script.error;
    EmitProperties(
        [this](BusWriter& entries)
        {
            entries.Entry("Progress", "(isi)", ProgressContent(progress));
            entries.Entry("LastError", "s", TextContent(lastError));
        },
        Installer);
}

void ScriptedRaucService::Mark(const BusMessage& message, const ScriptedCall& call)
{
    const String& state = call.arguments.at(0);
    const String& identifier = call.arguments.at(1);
    auto* slot = identifier == "booted"  ? FindSlot("state", "booted")
                 : identifier == "other" ? FindSlot("state", "inactive")
                                         : SlotOfName(identifier);
    if (slot == nullptr)
    {
        const String slotClass = identifier.substr(0, identifier.find('.'));
        Refuse(message, slotClass == identifier
                            ? "Invalid slot name format: '" + identifier + "'"
                            : "No slot with class " + slotClass + " and name " + identifier + " found");
    }
    else if (state == "active")
    {
        primary = slot->GetName();
        AnswerTexts(message, {primary, "activated slot " + primary});
    }
    else if (state == "good" || state == "bad")
    {
        slot->Set("boot-status", state);
        AnswerTexts(message, {slot->GetName(), "marked slot " + slot->GetName() + " as " + state});
    }
    else
    {
        Refuse(message, "unknown subcommand " + state);
    }
}

void ScriptedRaucService::AnswerPrimary(const BusMessage& message, const ScriptedCall& /*call*/)
{
    AnswerTexts(message, {primary});
}

void ScriptedRaucService::AnswerSlotStatus(const BusMessage& message, const ScriptedCall& /*call*/)
{
    Send(message.Return().With(
        [this](BusWriter& writer)
        {
            writer.Array("(sa{sv})",
                         [this](BusWriter& written) {
                             std::ranges::for_each(slots, [&written](const auto& slot)
                                                   { WriteSlot(slot, written); });
                         });
        }));
}

ScriptedSlot* ScriptedRaucService::FindSlot(const String& key, const String& text)
{
    const auto found =
        std::ranges::find_if(slots, [&](const ScriptedSlot& slot) { return slot.GetText(key) == text; });
    return found == slots.end() ? nullptr : &*found;
}

ScriptedSlot* ScriptedRaucService::SlotOfName(const String& name)
{
    const auto found = std::ranges::find(slots, name, &ScriptedSlot::GetName);
    return found == slots.end() ? nullptr : &*found;
}

String ScriptedRaucService::BootedSlotName()
{
    const auto* booted = FindSlot("state", "booted");
    return booted != nullptr ? booted->GetName() : "";
}

} // namespace Zel::Tests::Support
