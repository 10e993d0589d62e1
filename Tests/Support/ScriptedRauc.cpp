#include "Support/ScriptedRauc.h"

#include "Support/TemporaryFolder.h"

#include <chrono>
#include <tuple>

namespace Zel::Tests::Support
{

namespace
{

void ReadTexts(sd_bus_message* message, std::vector<String>& texts)
{
    char type = 0;
    const char* content = nullptr;
    while (sd_bus_message_peek_type(message, &type, &content) > 0)
    {
        if (content != nullptr)
        {
            sd_bus_message_enter_container(message, type, content);
            ReadTexts(message, texts);
            sd_bus_message_exit_container(message);
            continue;
        }
        const char* text = nullptr;
        int flag = 0;
        sd_bus_message_read_basic(message, type, type == 'b' ? static_cast<void*>(&flag) : &text);
        texts.emplace_back(type != 'b' ? text : flag != 0 ? "true" : "false");
    }
}

void Reply(sd_bus_message* call, const ScriptedAnswer& answer)
{
    if (!answer.error.empty())
    {
        sd_bus_reply_method_errorf(call, answer.error.c_str(), "%s", answer.texts.at(0).c_str());
    }
    else if (!answer.isSilent)
    {
        sd_bus_message* reply = nullptr;
        sd_bus_message_new_method_return(call, &reply);
        std::ranges::for_each(answer.texts,
                              [&](auto& text) { sd_bus_message_append(reply, "s", text.c_str()); });
        sd_bus_send(nullptr, reply, nullptr);
        sd_bus_message_unref(reply);
    }
}

} // namespace

ScriptedSlot& RaucScript::FindSlot(const String& state)
{
    const auto found = std::ranges::find(slots, state, [](auto& slot) { return slot.texts["state"]; });
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
    peer =
        std::make_unique<BusPeer>("de.pengutronix.rauc", mutex, [this](auto* message) { Handle(message); });
    EmitProperties(2, "BootSlot", "s", "", "Compatible", "s", "");
}

void ScriptedRauc::Restart(const String& slotName)
{
    Vanish();
    for (auto script = operator->(); ScriptedSlot & slot : script->slots)
    {
        script->primary = slotName.empty() ? script->primary : slotName;
        slot.texts["state"] = slot.name == script->primary ? "booted" : "inactive";
    }
    Start();
}

void ScriptedRauc::EmitProgress(int percentage, const String& message, int nestingDepth)
{
    EmitProperties(1, "Progress", "(isi)", percentage, message.c_str(), nestingDepth);
}

void ScriptedRauc::EmitOperation(const String& newOperation)
{
    const std::lock_guard lock(mutex);
    // A property that keeps its value is not announced.
    if (std::exchange(operation, newOperation) != newOperation)
    {
        EmitProperties(1, "Operation", "s", newOperation.c_str());
    }
}

bool ScriptedRauc::WaitForCall(const String& member)
{
    std::unique_lock lock(mutex);
    return changed.wait_for(lock, std::chrono::seconds(10),
                            [&]
                            { return std::ranges::count(script.calls, member, &ScriptedCall::member) > 0; });
}

void ScriptedRauc::Handle(sd_bus_message* message)
{
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) == 0)
    {
        return;
    }
    ScriptedCall call{sd_bus_message_get_member(message), sd_bus_message_get_signature(message, 1), {}};
    ReadTexts(message, call.arguments);
    call.member = call.member == "Get" ? call.arguments.at(1) : call.member;
    script.calls.push_back(call);
    changed.notify_all();
    if (!script.answers.contains(call.member))
    {
        return Answer(message, call);
    }
    const auto answer = script.answers.at(call.member);
    answer.isOnce ? static_cast<void>(script.answers.erase(call.member)) : void();
    Reply(message, answer);
}

void ScriptedRauc::Answer(sd_bus_message* message, const ScriptedCall& call)
{
    const auto& [member, signature, arguments] = call;
    if (member == "Operation" || member == "Compatible")
    {
        const String text = member == "Operation" ? operation : "Controller";
        sd_bus_reply_method_return(message, "v", "s", text.c_str());
        return;
    }
    const auto install = [&] { Install(arguments.at(0), [&] { Reply(message, {}); }); };
    const std::map<String, std::function<void()>> answers = {
        {"GetSlotStatus", [&] { AnswerSlots(message); }},
        {"GetPrimary", [&] { Reply(message, {.texts = {script.primary}}); }},
        {"Info", [&] { AnswerInfo(message, arguments.at(0)); }},
        {"Mark",
         [&] {
             Reply(message, {.texts = {script.primary = arguments.at(1), "activated"}});
         }},
        {"Install", install},
        {"InstallBundle", install}};
    isBusy ? Reply(message, ScriptedAnswer::Refusal("already processing a different method"))
           : answers.at(member)();
}

void ScriptedRauc::AnswerSlots(sd_bus_message* message)
{
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(message, &reply);
    sd_bus_message_open_container(reply, 'a', "(sa{sv})");
    for (const auto& slot : script.slots)
    {
        sd_bus_message_open_container(reply, 'r', "sa{sv}");
        sd_bus_message_append(reply, "s", slot.name.c_str());
        sd_bus_message_open_container(reply, 'a', "{sv}");
        for (const auto& [key, text] : slot.texts)
        {
            sd_bus_message_append(reply, "{sv}", key.c_str(), "s", text.c_str());
        }
        sd_bus_message_close_container(reply);
        sd_bus_message_close_container(reply);
    }
    sd_bus_message_close_container(reply);
    sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
}

void ScriptedRauc::AnswerInfo(sd_bus_message* message, const String& path)
{
    const auto [compatible, version] = script.FindBundle(path);
    if (compatible.empty())
    {
        return Reply(message, ScriptedAnswer::Refusal("Invalid bundle format: Failed to open bundle"));
    }
    EmitProgress(0, "Checking bundle", 1);
    EmitProgress(100, "Checking bundle done.", 1);
    Reply(message, {.texts = {compatible, version}});
}

void ScriptedRauc::Install(const String& bundle, const std::function<void()>& reply)
{
    const std::lock_guard lock(mutex);
    isBusy = true;
    EmitOperation("installing");
    reply();
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
    // Some of those of RAUC 1.8. A bundle that cannot be written ends them after two.
    const std::tuple<int, String, int> steps[] = {
        {0, "Installing", 1},
        {80, "Updating slots", 2},
        {90, "Copying image to " + script.FindSlot("inactive").name, 3},
        {100, "Installing done.", 1}};
    const std::size_t possible = script.failure.empty() ? 4 : script.activates ? 3 : 2;
    for (std::size_t i = begin; i < std::min(end, possible); ++i)
    {
        const auto& [percentage, message, nestingDepth] = steps[i];
        EmitProgress(percentage, message, nestingDepth);
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
        target = ScriptedSlot(target.name, "inactive", script.FindBundle(*bundle).second);
        script.primary = target.name;
    }
    if (!failure.empty())
    {
        EmitProperties(2, "Progress", "(isi)", 100, "Installing failed.", 1, "LastError", "s",
                       failure.c_str());
    }
    EmitCompleted(failure.empty() ? 0 : 1);
    EmitOperation("idle");
    isBusy = false;
}

} // namespace Zel::Tests::Support
