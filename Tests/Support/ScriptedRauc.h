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
    /// For example "Info", or "Get" for a property.
    String member;
    /// As text; what is no string is written like [{ignore-compatible=false}].
    std::vector<String> arguments;
    /// The signature of the arguments, for example "sa{sv}".
    String signature;
};

/// A service on the bus that behaves as RAUC does, by a script: its calls, errors, signals and their order,
/// without touching slots or bundles. It has the slots rootfs.1 (inactive, version "1.0.0.0") and rootfs.0
/// (booted, version "2.0.0.0"), in this order, is compatible with "Controller", and knows no bundle.
///
/// An operation that changes or emits something returns when that was sent. Every operation may be called
/// from any thread. Everything is done under one lock, so that signals and answers keep their order.
class ScriptedRauc
{
    template <typename Action>
    auto Locked(const Action& action)
    {
        const std::lock_guard lock(mutex);
        return action();
    }

public:
    using Call = ScriptedCall;
    using Answer = ScriptedAnswer;

    /// Starts the service.
    explicit ScriptedRauc(const PrivateBus& bus);

    /// Ends it like `Vanish`.
    ~ScriptedRauc() { Vanish(); }

    ScriptedRauc(const ScriptedRauc&) = delete;
    ScriptedRauc& operator=(const ScriptedRauc&) = delete;

    /// \name The device.
    ///@{
    void SetSlots(const std::vector<ScriptedSlot>& to)
    {
        Locked([&] { slots = to; });
    }

    [[nodiscard]] ScriptedSlot GetBootedSlot()
    {
        return Locked([&] { return FindSlot("booted"); });
    }

    [[nodiscard]] String GetPrimary()
    {
        return Locked([&] { return primary; });
    }

    /// Makes "Info" know the bundle at the path, or in each file with the content, that `key` is.
    void AddBundle(const String& key, const String& version, const String& compatible = "Controller")
    {
        Locked([&] { bundles[key] = {compatible, version}; });
    }

    ///@}

    /// \name Installations. The script holds for all that start afterwards.
    ///@{
    /// "InstallBundle" returns all the same; then Progress and LastError in one signal, and Completed 1. A
    /// failing post-install handler leaves the new slot written and the primary one: `isActivated`.
    void LetInstallationFail(const String& reason, bool isActivated = false)
    {
        Locked([&] { failure = reason, activates = isActivated; });
    }

    /// An installation stops after that many steps and goes on by `ReleaseInstallation`.
    void HoldInstallation(std::size_t steps = 2)
    {
        Locked([&] { heldAt = steps; });
    }

    /// Runs a held installation to its end; does nothing when none is held.
    void ReleaseInstallation();
    ///@}

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

    /// \name Answers.
    ///@{
    /// From now on, calls of `member` (for "Get", the property's name) get `answer`.
    void SetAnswer(const String& member, const Answer& to)
    {
        Locked([&] { answers[member] = to; });
    }

    void SetNormalAnswer(const String& member)
    {
        Locked([&] { answers.erase(member); });
    }

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

    /// Emits a signal of any name, without arguments.
    void EmitSignal(const String& interfaceName, const String& signalName);

    ///@}

    /// \name What arrived, in order. Calls of "Get" are kept apart, since hosts poll.
    ///@{
    [[nodiscard]] std::vector<Call> GetCalls()
    {
        return Locked([&] { return calls; });
    }

    [[nodiscard]] std::vector<Call> GetPropertyCalls()
    {
        return Locked([&] { return propertyCalls; });
    }

    void ClearCalls()
    {
        Locked([&] { calls.clear(), propertyCalls.clear(); });
    }

    /// Waits until a call of `member` arrived since the last `ClearCalls`; false when none did within 10 s.
    [[nodiscard]] bool WaitForCall(const String& member);
    ///@}

private:
    void Handle(const BusMessage& message);
    [[nodiscard]] Answer AnswerNormally(const Call& call);
    [[nodiscard]] Answer Info(const String& path);
    [[nodiscard]] Answer Mark(const String& state, const String& name);
    void Install(const BusMessage& message, const String& bundle);
    void TellSteps(std::size_t begin, std::size_t end);
    void Send(const BusMessage& message);
    /// Null for none.
    [[nodiscard]] const std::pair<String, String>* FindBundle(const String& path) const;
    /// Throws `Exception` when there is none.
    [[nodiscard]] ScriptedSlot& FindSlot(const String& state);

    const String busAddress;
    std::recursive_mutex mutex;
    std::condition_variable_any changed;
    std::vector<ScriptedSlot> slots{ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0"),
                                    ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")};
    String primary = "rootfs.0";
    /// Compatible and version.
    std::map<String, std::pair<String, String>> bundles;
    /// Of the next installation; empty for success.
    String failure;
    bool activates = true;
    std::optional<std::size_t> heldAt;
    std::map<String, Answer> answers;
    std::vector<Call> calls;
    std::vector<Call> propertyCalls;
    bool isBusy = false;
    String operation;
    /// The bundle of an installation that waits to go on.
    std::optional<String> heldInstallation;
    std::unique_ptr<BusPeer> peer;
};

} // namespace Zel::Tests::Support
