#pragma once

#include "Support/BusMessage.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "Support/RaucProgressScript.h"
#include "Support/ScriptedAnswer.h"
#include "Support/ScriptedSlot.h"
#include "Zel/String.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
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

    bool operator==(const ScriptedCall&) const = default;
};

/// A service on the bus that behaves as RAUC does, by a script: its calls, errors, signals and their order,
/// without touching slots or bundles. It has the slots rootfs.1 (inactive, version "1.0.0.0") and rootfs.0
/// (booted, version "2.0.0.0"), in this order, is compatible with "Controller", and knows no bundle.
///
/// An operation that changes or emits something returns when that was sent. Every operation may be called
/// from any thread. Everything is done under one lock, so that signals and answers keep their order.
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
    void SetSlots(std::vector<ScriptedSlot> newSlots);
    [[nodiscard]] ScriptedSlot GetBootedSlot();
    [[nodiscard]] String GetPrimary();

    /// Makes "Info" know the bundle at the path, or in each file with the content, that `key` is.
    void AddBundle(const String& key, const String& version, const String& bundleCompatible = "Controller");
    ///@}

    /// \name Installations. The script holds for all that start afterwards.
    ///@{
    /// The bundle's version goes to the slot that is not booted, which becomes the primary one; Completed 0.
    /// This is the script from the start.
    void LetInstallationSucceed(Edition newEdition = Edition::Rauc18);

    /// "InstallBundle" returns all the same; then Progress and LastError in one signal, and Completed 1. A
    /// failing post-install handler leaves the new slot written and the primary one: `isActivated`.
    void LetInstallationFail(const String& reason, bool isActivated = false);

    /// An installation stops after that many steps and goes on by `ReleaseInstallation`.
    void HoldInstallation(std::size_t steps = RaucProgressScript::PreparationSteps);

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
    void SetAnswer(const String& member, Answer answer);
    void SetNormalAnswer(const String& member);
    ///@}

    /// \name Signals out of the order, sent as given.
    ///@{
    void EmitProgress(std::int32_t percentage, const String& message, std::int32_t nestingDepth);
    void EmitLastError(const String& message);
    void EmitOperation(const String& newOperation);
    void EmitCompleted(std::int32_t returnCode);

    /// Emits a "PropertiesChanged" with these entries.
    void EmitProperties(const BusWriter::Write& entries,
                        const String& interfaceName = "de.pengutronix.rauc.Installer");

    /// Emits a "PropertiesChanged" of another interface than RAUC's with one text property.
    void EmitForeignProperty(const String& interfaceName, const String& propertyName, const String& value);

    /// Emits a signal of any name, without arguments.
    void EmitSignal(const String& interfaceName, const String& signalName);
    ///@}

    /// \name What arrived, in order. Calls of "Get" are kept apart, since hosts poll.
    ///@{
    [[nodiscard]] std::vector<Call> GetCalls();
    [[nodiscard]] std::vector<Call> GetPropertyCalls();
    void ClearCalls();

    /// Waits until `count` calls of `member` arrived since the last `ClearCalls`; false when `deadline`
    /// passes before.
    [[nodiscard]] bool WaitForCalls(const String& member, std::size_t count = 1,
                                    std::chrono::milliseconds deadline = std::chrono::seconds(10));
    ///@}

    /// The content of a "Progress" property.
    [[nodiscard]] static BusWriter::Write ProgressContent(const RaucProgressStep& step);

private:
    struct Bundle
    {
        String version;
        String compatible;
    };

    void Handle(const BusMessage& message);
    void AnswerNormally(const BusMessage& message, const Call& call);
    [[nodiscard]] BusMessage Get(const BusMessage& message, const Call& call);
    [[nodiscard]] BusMessage Info(const BusMessage& message, const Call& call);
    [[nodiscard]] BusMessage Mark(const BusMessage& message, const Call& call);
    void Install(const BusMessage& message, const Call& call);
    void TellSteps(std::size_t begin, std::size_t end);
    void FinishInstallation(const String& bundle);
    void Send(const BusMessage& message);
    [[nodiscard]] const Bundle* FindBundle(const String& path) const;
    [[nodiscard]] ScriptedSlot* FindSlot(const String& key, const String& text);

    const String busAddress;
    std::recursive_mutex mutex;
    std::condition_variable_any changed;
    std::vector<ScriptedSlot> slots;
    String primary = "rootfs.0";
    std::map<String, Bundle> bundles;
    Edition edition = Edition::Rauc18;
    /// Of the next installation; empty for success.
    String failure;
    bool activates = true;
    std::optional<std::size_t> heldAt;
    std::map<String, Answer> answers;
    std::vector<Call> calls;
    std::vector<Call> propertyCalls;
    bool isBusy = false;
    bool isEnding = false;
    String operation;
    String lastError;
    RaucProgressStep progress{};
    /// The bundle of an installation that waits to go on.
    std::optional<String> heldInstallation;
    std::unique_ptr<BusPeer> peer;
};

} // namespace Zel::Tests::Support
