#pragma once

#include "Support/PrivateBus.h"
#include "Support/RaucProgressScript.h"
#include "Support/ScriptedAnswer.h"
#include "Support/ScriptedCall.h"
#include "Support/ScriptedSlot.h"
#include "Zel/String.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Zel::Tests::Support
{

class ScriptedRaucService;

/// A service on the bus that behaves as RAUC does, by a script: its calls, errors, signals and their order,
/// without touching slots or bundles. It has the slots rootfs.1 (inactive, version "1.0.0.0") and rootfs.0
/// (booted, version "2.0.0.0"), in this order, is compatible with "Controller", and knows no bundle.
///
/// An operation that changes or emits something returns when that was sent. Every operation may be called
/// from any thread.
class ScriptedRauc
{
public:
    using Edition = RaucProgressScript::Edition;
    using Call = ScriptedCall;
    using Answer = ScriptedAnswer;

    /// Starts the service.
    explicit ScriptedRauc(const PrivateBus& bus);

    /// Ends it like `Vanish`.
    ~ScriptedRauc();
    ScriptedRauc(const ScriptedRauc&) = delete;
    ScriptedRauc& operator=(const ScriptedRauc&) = delete;

    /// \name The device. Not while a call is under way that reads it.
    ///@{
    void SetSlots(std::vector<ScriptedSlot> slots);
    [[nodiscard]] std::vector<ScriptedSlot> GetSlots() const;
    [[nodiscard]] String GetPrimary() const;

    /// Makes "Info" know the bundle at `path`.
    void AddBundle(const String& path, const String& version, const String& compatible = "Controller");
    ///@}

    /// \name Installations. The script holds for all that start afterwards.
    ///@{
    /// The bundle's version goes to the slot that is not booted, which becomes the primary one; Completed 0.
    /// This is the script from the start.
    void LetInstallationSucceed(Edition edition = Edition::Rauc18);

    /// "InstallBundle" returns all the same; then Progress and LastError in one signal, and Completed 1. A
    /// failing post-install handler leaves the new slot the primary one: `primaryChanges`.
    void LetInstallationFail(const String& error, bool primaryChanges = false);

    /// An installation stops after its first steps and goes on by `ReleaseInstallation`.
    void HoldInstallation();

    /// Runs a held installation to its end; does nothing when none is held.
    void ReleaseInstallation();

    /// Whether an installation is under way.
    [[nodiscard]] bool IsBusy() const;
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
    void SetAnswer(const String& member, Answer answer);
    void SetNormalAnswer(const String& member);
    ///@}

    /// \name Signals out of the order, sent as given.
    ///@{
    void EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth);
    void EmitLastError(const String& message);
    void EmitOperation(const String& operation);
    void EmitCompleted(std::int32_t returnCode);

    /// Emits a "PropertiesChanged" of another interface than RAUC's with one text property.
    void EmitForeignProperty(const String& interfaceName, const String& propertyName, const String& value);

    /// Emits a signal of any name, without arguments.
    void EmitSignal(const String& interfaceName, const String& signalName);
    ///@}

    /// \name What arrived, in order. Calls of "Get" are kept apart, since hosts poll.
    ///@{
    [[nodiscard]] std::vector<Call> GetCalls() const;
    [[nodiscard]] std::vector<Call> GetPropertyCalls() const;
    void ClearCalls();

    /// Waits until `count` calls of `member` arrived since the last `ClearCalls`; false when `deadline`
    /// passes before.
    [[nodiscard]] bool WaitForCalls(const String& member, std::size_t count = 1,
                                    std::chrono::milliseconds deadline = std::chrono::seconds(10)) const;
    ///@}

private:
    std::unique_ptr<ScriptedRaucService> service;
};

} // namespace Zel::Tests::Support
