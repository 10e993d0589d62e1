#pragma once

#include "Service/ComponentEnvironment.h"
#include "Service/ModuleCalls.h"
#include "Service/Worker.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace Zel::Host::Service
{

/// A component's module, and the thread on which all is done with it that may block: one thing after the
/// other, each with its end on the loop's thread. Used on the loop's thread.
class ModuleWorker : private System::Commons::Diagnostics::Logging::Loggable<ModuleWorker>
{
public:
    using Call = std::function<RequestResult(const ModuleCalls& calls)>;
    using Failure = std::optional<String>;
    using DeliveryCompletion =
        std::function<void(const RequestResult& result, const std::shared_ptr<DeliveredFile>& file)>;

    /// What is to be read.
    struct Question
    {
        bool current = false;
        bool pending = false;
        /// Also whether there is something to revert.
        bool fallback = false;
    };

    /// Both outlive the worker.
    ModuleWorker(const String& componentId, const ComponentEnvironment& environment);
    /// Stops.
    ~ModuleWorker();
    ModuleWorker(const ModuleWorker&) = delete;
    ModuleWorker& operator=(const ModuleWorker&) = delete;

    /// Creates and initializes the module; there is none where that failed.
    void Create(std::function<void(const Failure& failure)> done);
    void Destroy(EventLoop::Task done);

    /// Calls the module; refused while there is none.
    void Post(Call call, Completion done);
    /// Reads nothing while there is no module.
    void Read(const Question& question, std::function<void(const ModuleVersions& versions)> done);
    /// Copies a bundle into a file of the service's own; that is null where it failed.
    void Deliver(const std::shared_ptr<Delivery::FileDescriptor>& bundle, DeliveryCompletion done);
    /// Removes such a file, which takes long for a large one; nobody is told when that is done.
    void Remove(const std::shared_ptr<DeliveredFile>& file);

    /// Destroys the module; returns when that is done. What has no end by then gets none.
    void Stop();

    /// Says, on any thread, that what runs goes on.
    void NoteProgress() { worker.NoteProgress(); }

    /// How long what runs has been running without progress; 0 while nothing runs.
    [[nodiscard]] std::chrono::milliseconds GetTime() const { return worker.GetTaskTime(); }

private:
    [[nodiscard]] Failure CreateModule();
    [[nodiscard]] ModuleVersions ReadVersions(const Question& question);
    [[nodiscard]] RequestResult TakeBundle(const Delivery::FileDescriptor& bundle,
                                           std::shared_ptr<DeliveredFile>& file);

    const String& componentId;
    const ComponentEnvironment& environment;
    /// Touched on the thread only, and when that has stopped.
    std::unique_ptr<Services::SoftwareUpdate::IUpdaterModule> module;
    Worker worker;
};

} // namespace Zel::Host::Service
