#pragma once

#include "Support/BusPeer.h"
#include "Zel/String.h"

#include <condition_variable>
#include <map>
#include <optional>
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
    [[nodiscard]] ScriptedSlot& FindSlot(const String& state);

    /// Returns empty texts when there is none.
    [[nodiscard]] std::pair<String, String> FindBundle(const String& path) const;
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
        const String& bundle, const std::function<void()>& reply = [] {});

    /// Runs a held installation to its end; does nothing when none is held.
    void ReleaseInstallation();

    /// \name The service's life.
    ///@{
    /// The process dies: its name is gone without a signal, and an installation with it.
    void Vanish();

    /// The service starts anew in the slot that was booted, idle.
    void Start();

    /// The device restarts: the service goes, and starts in `slotName`, by default in the primary slot. The
    /// slot that was booted becomes inactive.
    void Restart(const String& slotName = "");

    ///@}

    /// \name Signals out of the order, sent as given.
    ///@{
    void EmitProgress(int percentage, const String& message, int nestingDepth);
    void EmitOperation(const String& newOperation);

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
    [[nodiscard]] bool WaitForCall(const String& member);

private:
    void Handle(sd_bus_message* message);
    void Answer(sd_bus_message* message, const ScriptedCall& call);
    void AnswerInfo(sd_bus_message* message, const String& path);
    void AnswerSlots(sd_bus_message* message);
    void TellSteps(std::size_t begin, std::size_t end);

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
