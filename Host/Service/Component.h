#pragma once

#include "Service/ComponentEnvironment.h"
#include "Service/ComponentStart.h"
#include "Service/ComponentView.h"
#include "Service/LoopTimer.h"
#include "Service/ModuleWorker.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace Zel::Host::Service
{

/// One component of the device: the life of its module, the one request that may change something at a time,
/// and what follows from events. Used on the loop's thread.
class Component : private System::Commons::Diagnostics::Logging::Loggable<Component>
{
public:
    using FileDescriptor = Delivery::FileDescriptor;
    using InspectionCompletion =
        std::function<void(const RequestResult& result, const Inspection& inspection)>;

    /// After what time it is tried again what RAUC or the store did not allow.
    static constexpr std::chrono::seconds RefreshRetry{5};
    static constexpr std::chrono::seconds EndRetry{1};
    /// The least time between two announcements of messages and progress.
    static constexpr std::chrono::milliseconds AnnouncementInterval{100};

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

    /// To be called after the status store changed this component's record: shows that soon.
    void OnStatusChanged();
    /// Shows what the status store tells now, and does what follows from it: a verdict may be told, the
    /// module made anew.
    void UpdateStatus();
    /// To be called after RAUC's name got an owner, or lost it. RAUC that goes in mid-installation tells
    /// nobody how it ends: the component is dropped and started then.
    void OnRaucOwnerChanged(bool owned);

    /// What clients see; for their handlers, too.
    [[nodiscard]] ComponentView& GetView() noexcept { return view; }

    [[nodiscard]] const String& GetId() const noexcept { return id; }

    [[nodiscard]] const ComponentSnapshot& GetSnapshot() const noexcept { return view.GetSnapshot(); }

    /// Whether an installation or revert is under way, or waits; true as well when the store cannot tell.
    [[nodiscard]] bool IsInstalling() const;

    /// How long the module's present call has been running without progress; 0 between calls.
    [[nodiscard]] std::chrono::milliseconds GetWorkTime() const { return module.GetTime(); }

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

    [[nodiscard]] bool Admit(const char* what, const String& caller, const Completion& completion);
    /// Refuses the request unless the component rests, or has failed and `failedToo` is set.
    [[nodiscard]] bool CheckState(bool failedToo);
    /// Goes on with the request when RAUC would answer, or else refuses it.
    void WhenRaucRests(EventLoop::Task next);
    void RefuseUntilRaucRests(RaucState state);
    void TakeBundle(const std::shared_ptr<FileDescriptor>& bundle);
    /// Gives the file to the module, unless its version is one that no module knows.
    void HandOver(const std::shared_ptr<DeliveredFile>& file);
    /// `trusted` where RAUC has told what the bundle is.
    void CallStage(const std::shared_ptr<DeliveredFile>& file, bool trusted);
    void FinishRejection(const RequestResult& result, bool trusted);
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
    void CallModule(ModuleWorker::Call call, Completion then);
    void Finish(const RequestResult& result);

    void OnInitialized(const ModuleWorker::Failure& failure);
    void OnRestarting();
    void OnReady();
    void FinishAfterStart();
    /// Asks the module for a suspended installation, as soon as RAUC rests.
    void InstallAgain();
    /// Asks it now, with what remains of the delay.
    void InstallSuspended();
    void OnInstalledAgain(const RequestResult& result);
    /// Reads versions from the module if RAUC allows that now, or else later.
    void Refresh(bool withFallback);
    void ReadVersions(RaucState state);
    void OnVersions(const ModuleVersions& versions);
    [[nodiscard]] ComponentView::Change ShowStatus();
    void FollowUp(const ComponentView::Change& change);
    /// Says in words that the installation or revert failed whose verdict this is.
    [[nodiscard]] String DescribeFailure(const Verdict& verdict) const;
    void OnInterrupted(const String& text);
    void OnInstallationEnded(bool whileWaiting);

    const String id;
    const ComponentEnvironment environment;
    ComponentView view;
    /// As the store told last.
    ComponentRecord record;
    bool restartFailed = false;
    /// Before this moment the module does not start the installation that it was asked for last; not known
    /// while it was not asked.
    std::optional<std::chrono::steady_clock::time_point> startTime;
    Life life = Life::Stopped;
    EventLoop::Task dropDone;
    ComponentStart start;
    std::optional<Request> request;
    /// Ends the request when the module is there again.
    std::optional<RequestResult> resultAfterStart;
    /// Whether RAUC has gone since it was asked about a bundle.
    bool raucGone = false;
    bool refreshWanted = false;
    bool fallbackWanted = false;
    std::chrono::steady_clock::time_point lastAnnouncement;
    LoopTimer announcementTimer;
    LoopTimer refreshTimer;
    LoopTimer delayTimer;
    /// For what the store could not keep, and for what RAUC was too busy.
    LoopTimer endTimer;
    LoopTimer againTimer;
    /// Last: nothing of the others is gone while a call runs.
    ModuleWorker module;
};

} // namespace Zel::Host::Service
