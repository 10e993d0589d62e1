#pragma once

#include "Support/BusMessage.h"
#include "Support/BusPeer.h"
#include "Support/RaucProgressScript.h"
#include "Support/ScriptedAnswer.h"
#include "Support/ScriptedCall.h"
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

/// The state and behaviour of a scripted RAUC; `ScriptedRauc` is its face. Everything is done under one lock,
/// so that signals and answers keep their order; only an answer that is to come late waits without it.
class ScriptedRaucService
{
public:
    struct Bundle
    {
        String version;
        String compatible;
    };

    /// What the next installation does.
    struct Script
    {
        RaucProgressScript::Edition edition = RaucProgressScript::Edition::Rauc18;
        /// Empty for success.
        String error;
        bool primaryChanges = true;
        bool isHeld = false;
    };

    explicit ScriptedRaucService(String busAddress);

    /// \name Take the lock.
    ///@{
    void Start();
    void Vanish();
    [[nodiscard]] bool WaitForCalls(const String& member, std::size_t count,
                                    std::chrono::milliseconds deadline);

    /// Runs `change` on this under the lock and returns its result.
    template <typename Change>
    auto With(const Change& change)
    {
        const std::lock_guard lock(mutex);
        return change(*this);
    }

    ///@}

    /// \name Within `With` only.
    ///@{
    void ReleaseInstallation();
    void SetOperation(const String& value);
    void SetProgress(const RaucProgressStep& step);
    void SetLastError(const String& text);
    void EmitCompleted(std::int32_t returnCode);
    void EmitProperties(const BusWriter::Write& entries, const String& interfaceName);
    void EmitTextProperty(const String& interfaceName, const String& name, const String& text);
    void EmitSignal(const String& interfaceName, const String& signalName);
    void Boot(String slotName);

    std::vector<ScriptedSlot> slots;
    String compatible = "Controller";
    String primary;
    std::map<String, Bundle> bundles;
    Script script;
    std::map<String, ScriptedAnswer> answers;
    std::vector<ScriptedCall> calls;
    std::vector<ScriptedCall> propertyCalls;
    bool isBusy = false;
    ///@}

private:
    void Handle(const BusMessage& message);
    [[nodiscard]] bool ShallAnswerNormally(const BusMessage& message, const ScriptedAnswer& answer,
                                           std::unique_lock<std::mutex>& lock);
    void AnswerNormally(const BusMessage& message, const ScriptedCall& call);
    void Get(const BusMessage& message, const ScriptedCall& call);
    void Info(const BusMessage& message, const ScriptedCall& call);
    void Install(const BusMessage& message, const ScriptedCall& call);
    void Mark(const BusMessage& message, const ScriptedCall& call);
    void AnswerPrimary(const BusMessage& message, const ScriptedCall& call);
    void AnswerSlotStatus(const BusMessage& message, const ScriptedCall& call);
    void AnswerTexts(const BusMessage& message, const std::vector<String>& texts);
    void Refuse(const BusMessage& message, const String& text);
    void Send(const BusMessage& message);

    [[nodiscard]] std::vector<RaucProgressStep> InstallationSteps();
    void FinishInstallation(const String& bundle);
    void TellFailure();

    [[nodiscard]] ScriptedSlot* FindSlot(const String& key, const String& text);
    [[nodiscard]] ScriptedSlot* SlotOfName(const String& name);
    [[nodiscard]] String BootedSlotName();

    const String busAddress;
    std::mutex mutex;
    std::condition_variable changed;
    bool isEnding = false;
    String operation;
    String lastError;
    RaucProgressStep progress{};
    /// The bundle of an installation that waits to go on.
    std::optional<String> heldInstallation;
    std::unique_ptr<BusPeer> peer;
};

} // namespace Zel::Tests::Support
