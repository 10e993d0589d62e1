#pragma once

#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "Support/ScriptedAnswer.h"
#include "Support/ScriptedSlot.h"
#include "Zel/String.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace Zel::Tests::Support
{

/// A call as it arrived.
struct ScriptedCall
{
    /// For example "Info", or a property's name.
    String member;
    /// As text; what is no string is written like [{ignore-compatible=false}].
    std::vector<String> arguments;
    /// The signature of the arguments, for example "sa{sv}".
    String signature;
};

/// What a scripted RAUC says, and what it was asked.
struct RaucScript
{
    std::vector<ScriptedSlot> slots{ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0"),
                                    ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")};
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

/// A service on the bus that behaves as RAUC does, by a script: its calls, errors, signals and their order,
/// without touching slots or bundles. It is compatible with "Controller".
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
    /// Starts the service.
    explicit ScriptedRauc(const PrivateBus& bus) : busAddress(bus.GetAddress()) { Start(); }

    /// Ends it like `Vanish`.
    ~ScriptedRauc() { Vanish(); }

    ScriptedRauc(const ScriptedRauc&) = delete;
    ScriptedRauc& operator=(const ScriptedRauc&) = delete;

    /// Gives the script, locked for the expression.
    Access operator->() { return {std::unique_lock(mutex), &script}; }

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
    void EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth);
    void EmitOperation(const String& newOperation);
    void EmitCompleted(std::int32_t returnCode);

    void EmitLastError(const String& text)
    {
        EmitProperties([&](auto& w) { w.TextEntry("LastError", text); });
    }

    /// Emits a "PropertiesChanged" with these entries.
    void EmitProperties(const BusWriter::Write& entries,
                        const String& interfaceName = "de.pengutronix.rauc.Installer");

    void Send(const BusMessage& message);
    ///@}

    /// Waits until a call of `member` is among the calls; false when none is within 10 s.
    [[nodiscard]] bool WaitForCall(const String& member);

private:
    void Handle(const BusMessage& message);
    [[nodiscard]] ScriptedAnswer Answer(const ScriptedCall& call);
    [[nodiscard]] ScriptedAnswer Info(const String& path);
    [[nodiscard]] ScriptedAnswer Mark(const String& name);
    void Install(const BusMessage& message, const String& bundle);
    void TellSteps(std::size_t begin, std::size_t end);

    const String busAddress;
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
