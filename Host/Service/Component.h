#pragma once

#include "Service/ComponentEnvironment.h"
#include "Service/ComponentSnapshot.h"
#include "Service/ComponentStart.h"
#include "Service/LoopTimer.h"
#include "Service/ModuleCalls.h"
#include "Service/Worker.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// One component of the device: its module, the picture that clients see of it, and the one request that may
/// change something at a time. Used on the loop's thread; the module is used on a worker of its own.
class Component : private System::Commons::Diagnostics::Logging::Loggable<Component>
{
public:
    using FileDescriptor = Delivery::FileDescriptor;
    using IUpdaterModule = Services::SoftwareUpdate::IUpdaterModule;
    using ChangeHandler = std::function<void(const std::vector<String>& properties)>;
    using VerdictHandler = std::function<void(const Verdict& verdict)>;
    using InspectionCompletion =
        std::function<void(const RequestResult& result, const Inspection& inspection)>;

    /// After what time it is tried again what RAUC or the store did not allow.
    static constexpr std::chrono::seconds RefreshRetry{5};
    static constexpr std::chrono::seconds EndRetry{1};
    /// The least time between two announcements of messages and progress.
    static constexpr std::chrono::milliseconds AnnouncementInterval{100};
    /// Delays of so many milliseconds and more are refused, as modules count them in 32 bits.
    static constexpr std::uint64_t DelayLimit = std::uint64_t{1} << 32U;

    Component(String id, ComponentEnvironment environment);
    /// Stops.
    ~Component();
    Component(const Component&) = delete;
    Component& operator=(const Component&) = delete;

    /// Creates and initializes the module, when `StartGuard` allows it, and reads the first picture of the
    /// versions; requests are refused until then. The environment is told about the end. The start of a
    /// component whose device has to be restarted first has ended, too; it goes on to refuse requests.
    void Start();

    /// Destroys the module when the request that is under way has left it; later requests are refused until
    /// `Start`, and a start that is under way has no end. The picture stays.
    void Drop(EventLoop::Task done);

    /// Destroys the module; returns when that is done. Requests that are under way are never answered.
    void Stop();

    /// To be called when the restart of the device could not be ordered.
    void OnRestartFailed(const String& reason);

    /// Requests. `caller` is shown to others who are refused meanwhile. A refused request changed nothing. By
    /// the time of the completion the picture shows what the request did.
    void Stage(FileDescriptor bundle, const String& caller, const Completion& completion);
    void Install(const InstallRequest& request, const String& caller, const Completion& completion);
    /// Calls an installation off that waits for its time: the module, whose executor would start it, is
    /// destroyed; when RAUC was not asked for anything the state becomes idle, and a new module is made.
    void Cancel(const String& caller, const Completion& completion);
    void Revert(const String& caller, const Completion& completion);
    void Resume(const String& caller, const Completion& completion);

    /// Looks at a bundle and changes nothing. Refused while an installation is running or waiting, as RAUC
    /// refuses to start one while it is asked.
    void Inspect(FileDescriptor bundle, const String& caller, const InspectionCompletion& completion);

    /// Returns the latest entries of the history, the newest one first.
    [[nodiscard]] std::vector<HistoryEntry> GetHistory(std::uint32_t limit) const;

    /// To be called after the status store changed this component's record.
    void OnStatusChanged();
    /// To be called after RAUC's name got an owner, or lost it. RAUC that goes in mid-installation tells
    /// nobody how it ends: the component is dropped and started then.
    void OnRaucOwnerChanged(bool owned);

    /// Has `handler` called with the names of the properties that changed, after each change of the picture.
    void SetChangeHandler(ChangeHandler handler);
    /// Has `handler` called with each new verdict.
    void SetVerdictHandler(VerdictHandler handler);
    /// Calls the handler with the last verdict, when that was reached before there was one.
    void TellEarlierVerdict();

    [[nodiscard]] const String& GetId() const noexcept { return id; }

    [[nodiscard]] const ComponentSnapshot& GetSnapshot() const noexcept { return snapshot; }

    /// Asks the store; true as well when that cannot tell.
    [[nodiscard]] bool IsInstalling();

    /// How long the module's present call has been running without progress; 0 between calls.
    [[nodiscard]] std::chrono::milliseconds GetWorkTime() const { return worker.GetTaskTime(); }

    /// Whether the last start has ended well.
    [[nodiscard]] bool HasStarted() const noexcept;

    /// Whether there is no module, and none is going to be made without another `Start`.
    [[nodiscard]] bool IsStopped() const noexcept { return life == Life::Stopped; }

private:
    enum class Life
    {
        Stopped,
        Dropping,
        Starting,
        /// The module is initialized, the first picture is being read.
        Initialized,
        Ready,
        /// The device is about to restart.
        Restarting
    };

    struct Request
    {
        String what;
        String caller;
        Completion completion;
    };

    using ModuleCall = std::function<RequestResult(const ModuleCalls& calls)>;

    [[nodiscard]] bool Admit(const char* what, const String& caller, const Completion& completion);
    /// Refuses the request unless the component rests, or has failed and `failedToo` is set.
    [[nodiscard]] bool CheckState(bool failedToo);
    /// Goes on with the request when RAUC would answer, or else refuses it.
    void WhenRaucRests(EventLoop::Task next);
    void TakeBundle(const std::shared_ptr<FileDescriptor>& bundle);
    [[nodiscard]] RequestResult Deliver(const FileDescriptor& bundle, std::shared_ptr<DeliveredFile>& file);
    /// Gives the file to the module, unless its version is one that no module knows.
    void HandOver(const std::shared_ptr<DeliveredFile>& file);
    void CallStage(const std::shared_ptr<DeliveredFile>& file);
    /// Copies the bundle on the worker, then goes on with the result; the file is null where that failed.
    void DeliverThen(const std::shared_ptr<FileDescriptor>& bundle,
                     std::function<void(const RequestResult&, const std::shared_ptr<DeliveredFile>&)> then);
    void LookAt(const std::shared_ptr<DeliveredFile>& file, const RequestResult& delivery,
                const std::shared_ptr<Inspection>& inspection);
    void FinishCancel(bool notAsked);
    /// Ends an installation that RAUC was not asked for.
    [[nodiscard]] bool CallOff();
    /// `dueTime` is 0 or that of an installation that waits already.
    void AskToInstall(const InstallRequest& installRequest, std::int64_t dueTime);
    void SetUpcoming(const InstallRequest& installRequest, std::int64_t dueTime);
    void FinishRevert(const RequestResult& result);
    /// Returns the version that a revert goes back to, as far as it is known.
    [[nodiscard]] String FindEarlierVersion() const;
    void CallModule(ModuleCall call, Completion then);
    void Finish(const RequestResult& result);

    void Initialize();
    [[nodiscard]] std::optional<String> CreateModule();
    void OnInitialized(const std::optional<String>& failure);
    void OnRestarting();
    void OnReady();
    void FinishAfterStart();
    /// Asks the module for a suspended installation, as soon as RAUC rests.
    void InstallAgain();
    void InstallAgain(const ComponentRecord& record);
    void OnInstalledAgain(const RequestResult& result);
    /// Reads versions from the module if RAUC allows that now, or else later.
    void Refresh(bool withFallback);
    void ReadPicture(RaucState state);
    [[nodiscard]] ModulePicture AskModule(bool current, bool pending, bool fallback) const;
    void UpdateStatus();
    [[nodiscard]] bool IsWaiting(const ComponentRecord& record) const;
    /// Of a component that does not wait.
    [[nodiscard]] const String& FindActivity(const ComponentRecord& record) const;
    void OnVerdict(const ComponentRecord& record);
    void OnInstallationEnded(bool whileWaiting);
    void Apply(const ModulePicture& picture);
    void Show(const ComponentSnapshot& next);

    const String id;
    const ComponentEnvironment environment;
    ComponentSnapshot snapshot;
    std::optional<bool> moduleRevertible;
    /// Whether the store answered when it was asked last.
    bool statusKnown = false;
    bool verdictKnown = false;
    /// Reached when nobody could be told.
    std::optional<Verdict> untoldVerdict;
    bool restartFailed = false;
    bool suspended = false;
    /// Before this moment the module does not start the installation that it was asked for last; not known
    /// while it was not asked.
    std::optional<std::chrono::steady_clock::time_point> startTime;
    ChangeHandler changeHandler;
    VerdictHandler verdictHandler;
    Life life = Life::Stopped;
    EventLoop::Task dropDone;
    ComponentStart start;
    std::optional<Request> request;
    /// Ends the request when the module is there again.
    std::optional<RequestResult> resultAfterStart;
    bool refreshWanted = false;
    bool fallbackWanted = false;
    std::chrono::steady_clock::time_point lastAnnouncement;
    LoopTimer announcementTimer;
    LoopTimer refreshTimer;
    LoopTimer delayTimer;
    /// For what the store could not keep, and for what RAUC was too busy.
    LoopTimer endTimer;
    LoopTimer againTimer;
    /// Touched on the worker only, and when that has stopped.
    std::unique_ptr<IUpdaterModule> module;
    Worker worker;
};

} // namespace Zel::Host::Service
