#include "Service/PersistentUpdaterStatus.h"

#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;

PersistentUpdaterStatus::PersistentUpdaterStatus(std::shared_ptr<StatusStore> store, String bootId,
                                                 std::uint32_t confirmationTimeout,
                                                 ChangeHandler changeHandler)
    : store(std::move(store)), bootId(std::move(bootId)), confirmationTimeout(confirmationTimeout),
      changeHandler(std::move(changeHandler))
{
}

PersistentUpdaterStatus::~PersistentUpdaterStatus() = default;

template <typename Operation>
bool PersistentUpdaterStatus::TryStore(const char* what, const Operation& operation) const
{
    try
    {
        operation();
        return true;
    }
    catch (const DatabaseException& exception)
    {
        Log(LogLevel::Error, "{0}: {1}", what, exception.GetMessage());
        return false;
    }
}

template <typename Operation>
bool PersistentUpdaterStatus::TryChange(const char* what, const String& componentId,
                                        const Operation& operation)
{
    const std::lock_guard order(changing);
    const bool changed = TryStore(what, operation);
    if (changed)
    {
        Learn(what, componentId);
    }
    return changed;
}

void PersistentUpdaterStatus::Learn(const char* what, const String& componentId)
{
    std::optional<Kept> kept;
    const auto read = [&] {
        kept = Kept{store->GetComponent(componentId), store->GetLastVerdict(componentId)};
    };
    static_cast<void>(TryStore(what, read));
    const std::lock_guard lock(mutex);
    if (kept)
    {
        keptComponents[ToLower(componentId)] = std::move(*kept);
    }
    else
    {
        keptComponents.erase(ToLower(componentId));
    }
}

PersistentUpdaterStatus::Transient& PersistentUpdaterStatus::GetTransient(const String& componentId)
{
    return components[ToLower(componentId)];
}

String PersistentUpdaterStatus::GetMessage(const String& componentId)
{
    const std::lock_guard lock(mutex);
    return GetTransient(componentId).message;
}

void PersistentUpdaterStatus::NotifyChange(const String& componentId) const
{
    if (changeHandler)
    {
        changeHandler(componentId);
    }
}

bool PersistentUpdaterStatus::GetStatus(const String& componentId, SoftwareUpdateStatus& status)
{
    const auto known = GetComponentStatus(componentId);
    if (!known)
    {
        return false;
    }
    status.message = known->message;
    status.state = known->record.state;
    status.revertible = known->record.revertible;
    status.progress = known->progress;
    status.confirmationTimeout = confirmationTimeout;
    return true;
}

void PersistentUpdaterStatus::SetMessage(const String& componentId, const String& message, bool newStory)
{
    {
        const std::lock_guard lock(mutex);
        Transient& shown = GetTransient(componentId);
        if (newStory)
        {
            shown.progress = 0;
            shown.progressText.clear();
        }
        shown.message = Truncate(message, MaximumMessage);
    }
    NotifyChange(componentId);
}

void PersistentUpdaterStatus::SetProgress(const String& componentId, int percentage)
{
    String step;
    {
        const std::lock_guard lock(mutex);
        Transient& shown = GetTransient(componentId);
        shown.progress = percentage;
        shown.progressText = shown.message;
        if (shown.step != shown.message)
        {
            step = shown.step = shown.message;
        }
    }
    if (!step.empty())
    {
        AddStep(componentId, step);
    }
    NotifyChange(componentId);
}

Beginning PersistentUpdaterStatus::MakeBeginning(const String& componentId, bool installation)
{
    const std::lock_guard lock(mutex);
    Transient& shown = GetTransient(componentId);
    shown.step.clear();
    const Upcoming upcoming = std::exchange(shown.upcoming, {});
    shown.startTime = upcoming.startTime;
    Beginning beginning;
    beginning.installation = installation;
    beginning.bootId = bootId;
    beginning.bootSlot = bootSlot;
    beginning.dueTime = upcoming.dueTime;
    beginning.kind = !installation       ? Api::Kind::Revert
                     : upcoming.fallback ? Api::Kind::Fallback
                                         : Api::Kind::Install;
    beginning.caller = upcoming.caller;
    beginning.from = upcoming.from;
    beginning.to = upcoming.to;
    return beginning;
}

bool PersistentUpdaterStatus::BeginInstallation(const String& componentId, bool installation)
{
    const Beginning beginning = MakeBeginning(componentId, installation);
    bool begun = false;
    const bool stored =
        TryChange("BeginInstallation", componentId, [&] { begun = store->Begin(componentId, beginning); });
    if (stored && begun)
    {
        {
            const std::lock_guard lock(mutex);
            GetTransient(componentId).lostEnd.reset();
        }
        NotifyChange(componentId);
    }
    return stored && begun;
}

String PersistentUpdaterStatus::JudgeFailure(const ComponentRecord& record)
{
    const std::lock_guard lock(mutex);
    const bool restarted = record.bootId != bootId;
    const bool known = !record.bootSlot.empty() && !bootSlot.empty();
    // An installation leaves the slot that it was begun in, when it comes to a restart; a revert goes back to
    // the other one.
    const bool switchedBack = record.begunAsInstallation
                                  ? record.restartOrdered && record.bootSlot == bootSlot
                                  : record.bootSlot != bootSlot;
    return restarted && known && switchedBack ? Api::Result::SwitchedBack : Api::Result::Failed;
}

void PersistentUpdaterStatus::EndInstallation(const String& componentId, bool success)
{
    End(componentId, {success, success ? String() : GetMessage(componentId)});
}

void PersistentUpdaterStatus::RetryEnd(const String& componentId)
{
    std::optional<Ending> ending;
    {
        const std::lock_guard lock(mutex);
        ending = GetTransient(componentId).lostEnd;
    }
    if (ending)
    {
        End(componentId, *ending);
    }
}

void PersistentUpdaterStatus::End(const String& componentId, const Ending& ending)
{
    bool ended = false;
    const bool stored = TryChange("EndInstallation", componentId,
                                  [&]
                                  {
                                      const String result =
                                          ending.success ? Api::Result::Succeeded
                                                         : JudgeFailure(store->GetComponent(componentId));
                                      ended = store->End(componentId, ending.success, result, ending.reason);
                                  });
    if (stored && !ended)
    {
        Log(LogLevel::Warning, "No installation of '{0}' is running that could end.", componentId);
    }
    {
        const std::lock_guard lock(mutex);
        auto& lostEnd = GetTransient(componentId).lostEnd;
        lostEnd = stored ? std::nullopt : std::optional(ending);
    }
    NotifyChange(componentId);
}

bool PersistentUpdaterStatus::ResumeInstallation(const String& componentId)
{
    bool resumed = false;
    const bool stored =
        TryChange("ResumeInstallation", componentId, [&] { resumed = store->Resume(componentId); });
    NotifyChange(componentId);
    return stored && resumed;
}

bool PersistentUpdaterStatus::WriteProperty(const String& componentId, const String& propertyName,
                                            const String& value, bool persistent)
{
    const bool stored =
        TryChange("WriteProperty", componentId,
                  [&] { store->WriteProperty(componentId, propertyName, persistent ? value : String()); });
    if (stored)
    {
        const std::lock_guard lock(mutex);
        auto& properties = GetTransient(componentId).properties;
        properties.erase(propertyName);
        if (!persistent && !value.empty())
        {
            properties.emplace(propertyName, value);
        }
    }
    return stored;
}

void PersistentUpdaterStatus::ReadProperty(const String& componentId, const String& propertyName,
                                           String& value)
{
    value = FindProperty(componentId, propertyName).value_or(String());
}

std::optional<String> PersistentUpdaterStatus::FindProperty(const String& componentId,
                                                            const String& propertyName)
{
    {
        const std::lock_guard lock(mutex);
        const auto& properties = GetTransient(componentId).properties;
        if (const auto found = properties.find(propertyName); found != properties.end())
        {
            return found->second;
        }
    }
    std::optional<String> value;
    static_cast<void>(
        TryStore("ReadProperty", [&] { value = store->ReadProperty(componentId, propertyName); }));
    return value;
}

std::uint32_t PersistentUpdaterStatus::GetConfirmationTimeout(const String& /*componentId*/)
{
    return confirmationTimeout;
}

bool PersistentUpdaterStatus::KeepForCallOff(const String& componentId)
{
    return TryChange("KeepForCallOff", componentId, [&] { store->KeepForCallOff(componentId); });
}

void PersistentUpdaterStatus::SetUpcoming(const String& componentId, Upcoming upcoming)
{
    const std::lock_guard lock(mutex);
    GetTransient(componentId).upcoming = std::move(upcoming);
}

void PersistentUpdaterStatus::SetBootSlot(const String& name)
{
    const std::lock_guard lock(mutex);
    bootSlot = name.empty() ? bootSlot : name;
}

void PersistentUpdaterStatus::AddStep(const String& componentId, const String& text)
{
    const bool waits = Waits(componentId);
    static_cast<void>(TryChange("AddStep", componentId, [&] { store->AddStep(componentId, text, waits); }));
}

bool PersistentUpdaterStatus::Waits(const String& componentId)
{
    const std::lock_guard lock(mutex);
    return std::chrono::steady_clock::now() < GetTransient(componentId).startTime;
}

void PersistentUpdaterStatus::AddRestart(const String& componentId)
{
    const bool waits = Waits(componentId);
    static_cast<void>(TryChange("AddRestart", componentId, [&] { store->AddRestart(componentId, waits); }));
    NotifyChange(componentId);
}

std::vector<HistoryEntry> PersistentUpdaterStatus::GetHistory(const String& componentId, std::uint32_t limit)
{
    std::vector<HistoryEntry> entries;
    static_cast<void>(TryStore("GetHistory", [&] { entries = store->GetHistory(componentId, limit); }));
    return entries;
}

std::optional<String> PersistentUpdaterStatus::FindEarlierVersion(const String& componentId,
                                                                  const String& runningVersion)
{
    std::optional<String> version;
    static_cast<void>(TryStore("FindEarlierVersion",
                               [&] { version = store->FindEarlierVersion(componentId, runningVersion); }));
    return version;
}

bool PersistentUpdaterStatus::CallOff(const String& componentId, const String& reason)
{
    bool calledOff = false;
    const bool stored =
        TryChange("CallOff", componentId, [&] { calledOff = store->CallOff(componentId, reason); });
    NotifyChange(componentId);
    return stored && calledOff;
}

bool PersistentUpdaterStatus::Suspend(const String& componentId)
{
    bool suspended = false;
    return TryChange("Suspend", componentId, [&] { suspended = store->Suspend(componentId); }) && suspended;
}

std::optional<ComponentStatus> PersistentUpdaterStatus::GetComponentStatus(const String& componentId)
{
    if (auto known = Recall(componentId))
    {
        return known;
    }
    {
        const std::lock_guard order(changing);
        Learn("GetComponentStatus", componentId);
    }
    return Recall(componentId);
}

std::optional<ComponentStatus> PersistentUpdaterStatus::Recall(const String& componentId)
{
    const std::lock_guard lock(mutex);
    const auto kept = keptComponents.find(ToLower(componentId));
    if (kept == keptComponents.end())
    {
        return std::nullopt;
    }
    const Transient& shown = GetTransient(componentId);
    ComponentStatus status;
    status.record = kept->second.record;
    status.lastVerdict = kept->second.lastVerdict;
    status.message = shown.message;
    status.progress = shown.progress;
    status.progressText = shown.progressText;
    status.endLost = shown.lostEnd.has_value();
    return status;
}

} // namespace Zel::Host::Service
