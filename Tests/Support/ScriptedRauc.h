#pragma once

#include "Support/BusPeer.h"
#include "Zel/String.h"

#include <condition_variable>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

namespace Zel::Tests::Support
{

/// A call as it arrived.
struct ScriptedCall
{
    /// For example "Info", or a property's name.
    String member;
    /// The signature of the arguments, for example "sa{sv}".
    String signature;
    /// The texts and booleans in the arguments, in order, whatever contains them.
    std::vector<String> arguments;
};

/// What a call gets instead of its normal answer.
struct ScriptedAnswer
{
    /// The name of what RAUC's handlers refuse with.
    inline static const String RefusalError =
        "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code30";

    /// No answer ever: the caller waits for libdbus's timeout, or until the service goes.
    [[nodiscard]] static ScriptedAnswer None() { return {.isSilent = true}; }

    [[nodiscard]] static ScriptedAnswer Refusal(const String& text) { return {RefusalError, {text}}; }

    /// The name of an error; empty for a method return.
    String error{};
    /// The arguments.
    std::vector<String> texts{};
    bool isSilent = false;
    /// Whether the call after that gets the normal answer again.
    bool isOnce = false;
};

/// One slot as "GetSlotStatus" tells of it, without what nobody looks at.
struct ScriptedSlot
{
    /// A slot that RAUC has written, or never when there is no version.
    ScriptedSlot(const String& name, const String& state, const String& version = "")
        : name(name), texts{{"state", state}, {"boot-status", "good"}}
    {
        if (!version.empty())
        {
            texts.insert({{"bundle.version", version}, {"sha256", "5feceb66"}, {"status", "ok"}});
        }
    }

    String name;
    std::map<String, String> texts;
};

/// What a scripted RAUC says, and what it was asked.
struct RaucScript
{
    std::vector<ScriptedSlot> slots{{"rootfs.1", "inactive", "1.0.0.0"}, {"rootfs.0", "booted", "2.0.0.0"}};
    String primary = "rootfs.0";
    /// Compatible and version of the bundle at a path, or in each file with that content.
    std::map<String, std::pair<String, String>> bundles;
    /// What each next installation fails with: "InstallBundle" returns all the same; then Progress and
    /// LastError in one signal, and Completed 1. Empty for success.
    String failure;
    /// Whether a failing installation leaves the new slot written and the primary one, as a failing
    /// post-install handler does.
    bool activates = false;
    /// After how many steps each next installation stops, until `ReleaseInstallation`.
    std::optional<std::size_t> heldAt;
    /// By member: what calls get instead of the normal answer.
    std::map<String, ScriptedAnswer> answers;
    /// What arrived, in order.
    std::vector<ScriptedCall> calls;

    /// Returns the first slot in this state. Throws `Exception` when there is none.
    [[nodiscard]] ScriptedSlot& FindSlot(const String& state)
    {
        const auto found = std::ranges::find(slots, state, [](auto& slot) { return slot.texts["state"]; });
        return found != slots.end() ? *found : throw Exception("No slot is " + state);
    }

    /// Returns empty texts when there is none.
    [[nodiscard]] std::pair<String, String> FindBundle(const String& path) const
    {
        const bool isFile = !bundles.contains(path) && std::filesystem::exists(path);
        const auto bundle = bundles.find(isFile ? TemporaryFolder::Read(path) : path);
        return bundle == bundles.end() ? std::pair<String, String>() : bundle->second;
    }
};

/// A service on the process's bus that behaves as RAUC does, by a script: its calls, errors, signals and
/// their order, without touching slots or bundles. It is compatible with "Controller".
///
/// An operation that changes or emits something returns when that was sent. Every operation may be called
/// from any thread. Everything is done under one lock, so that signals and answers keep their order.
class ScriptedRauc
{
    /// The script, as long as it is locked.
    struct Access
    {
        RaucScript* operator->() const noexcept { return script; }

        std::unique_lock<std::recursive_mutex> lock;
        RaucScript* script;
    };

public:
    inline static const String Interface = "de.pengutronix.rauc.Installer";

    /// Starts the service.
    ScriptedRauc() { Start(); }

    /// Ends it like `Vanish`.
    ~ScriptedRauc() { Vanish(); }

    /// Gives the script, locked for the expression.
    Access operator->() { return {std::unique_lock(mutex), &script}; }

    /// Begins an installation, tells its caller by `reply` as soon as RAUC would, and runs it to its end, or
    /// to where it is held.
    void Install(
        const String& bundle, const std::function<void()>& reply = [] {})
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

    /// Runs a held installation to its end; does nothing when none is held.
    void ReleaseInstallation()
    {
        const std::lock_guard lock(mutex);
        const auto bundle = std::exchange(heldInstallation, std::nullopt);
        if (!bundle)
        {
            return;
        }
        TellSteps(std::exchange(script.heldAt, std::nullopt).value_or(0), SIZE_MAX);
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

    /// \name The service's life.
    ///@{
    /// The process dies: its name is gone without a signal, and an installation with it.
    void Vanish()
    {
        std::unique_ptr<BusPeer> gone;
        const std::lock_guard lock(mutex);
        gone = std::move(peer);
        isBusy = false;
        heldInstallation.reset();
    }

    /// The service starts anew in the slot that was booted, idle.
    void Start()
    {
        const std::lock_guard lock(mutex);
        operation = "idle";
        peer = std::make_unique<BusPeer>("de.pengutronix.rauc", mutex,
                                         [this](auto* message) { Handle(message); });
        EmitProperties(2, "BootSlot", "s", "", "Compatible", "s", "");
    }

    /// The device restarts: the service goes, and starts in `slotName`, by default in the primary slot. The
    /// slot that was booted becomes inactive.
    void Restart(const String& slotName = "")
    {
        Vanish();
        for (auto script = operator->(); ScriptedSlot & slot : script->slots)
        {
            script->primary = slotName.empty() ? script->primary : slotName;
            slot.texts["state"] = slot.name == script->primary ? "booted" : "inactive";
        }
        Start();
    }

    ///@}

    /// \name Signals out of the order, sent as given.
    ///@{
    void EmitProgress(int percentage, const String& message, int nestingDepth)
    {
        EmitProperties(1, "Progress", "(isi)", percentage, message.c_str(), nestingDepth);
    }

    void EmitOperation(const String& newOperation)
    {
        const std::lock_guard lock(mutex);
        // A property that keeps its value is not announced.
        if (std::exchange(operation, newOperation) != newOperation)
        {
            EmitProperties(1, "Operation", "s", newOperation.c_str());
        }
    }

    void EmitCompleted(int returnCode) { Emit(Interface, "Completed", "i", returnCode); }

    void EmitLastError(const String& text) { EmitProperties(1, "LastError", "s", text.c_str()); }

    /// Emits a "PropertiesChanged" with so many entries: a name, a signature and the values of each.
    template <typename... Entries>
    void EmitProperties(int count, Entries... entries)
    {
        Emit("org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as", Interface.c_str(), count,
             entries..., 0);
    }

    /// Emits a signal with these values, as `sd_bus_message_append` takes them.
    template <typename... Values>
    void Emit(const String& interfaceName, const char* member, const char* signature, Values... values)
    {
        const std::lock_guard lock(mutex);
        if (peer != nullptr)
        {
            sd_bus_emit_signal(peer->Get(), "/", interfaceName.c_str(), member, signature, values...);
            sd_bus_flush(peer->Get());
        }
    }

    ///@}

    /// Waits until a call of `member` is among the calls; false when none is within 10 s.
    [[nodiscard]] bool WaitForCall(const String& member)
    {
        std::unique_lock lock(mutex);
        return changed.wait_for(
            lock, std::chrono::seconds(10),
            [&] { return std::ranges::count(script.calls, member, &ScriptedCall::member) > 0; });
    }

private:
    /// Reads texts, and behind them an option that is true or false.
    static void ReadTexts(sd_bus_message* message, std::vector<String>& texts)
    {
        const char* text = nullptr;
        int flag = 0;
        while (sd_bus_message_read(message, "s", &text) > 0)
        {
            texts.emplace_back(text);
        }
        if (sd_bus_message_read(message, "a{sv}", 1, &text, "b", &flag) > 0)
        {
            texts.insert(texts.end(), {text, flag != 0 ? "true" : "false"});
        }
    }

    static void Reply(sd_bus_message* call, const ScriptedAnswer& answer)
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

    void Handle(sd_bus_message* message)
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

    void Answer(sd_bus_message* message, const ScriptedCall& call)
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

    void AnswerInfo(sd_bus_message* message, const String& path)
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

    void AnswerSlots(sd_bus_message* message)
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

    void TellSteps(std::size_t begin, std::size_t end)
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

    std::recursive_mutex mutex;
    std::condition_variable_any changed;
    RaucScript script;
    bool isBusy = false;
    String operation;
    /// The bundle of an installation that waits to go on.
    std::optional<String> heldInstallation;
    std::unique_ptr<BusPeer> peer;
};

} // namespace Zel::Tests::Support
