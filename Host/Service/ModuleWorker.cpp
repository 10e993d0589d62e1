#include "Service/ModuleWorker.h"

#include "Zel/System/Commons/OutOfMemoryException.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::ResultCode;
using System::Commons::ArgumentException;
using System::Commons::OutOfMemoryException;
using System::Commons::Diagnostics::Logging::LogLevel;

ModuleWorker::ModuleWorker(const String& componentId, const ComponentEnvironment& environment)
    : componentId(componentId), environment(environment), worker("UpdateWorker")
{
}

ModuleWorker::~ModuleWorker()
{
    Stop();
}

void ModuleWorker::Create(std::function<void(const Failure&)> done)
{
    worker.Post(
        [this, done = std::move(done)]
        {
            const Failure failure = CreateModule();
            environment.loop.Post([done, failure] { done(failure); });
        });
}

ModuleWorker::Failure ModuleWorker::CreateModule()
{
    Failure failure;
    try
    {
        module = environment.createModule();
        module->Initialize(environment.settingsPath, environment.status);
    }
    catch (const std::exception& exception)
    {
        failure = exception.what();
    }
    catch (...)
    {
        failure = "It failed in an unknown way.";
    }
    if (failure)
    {
        module.reset();
    }
    return failure;
}

void ModuleWorker::Destroy(EventLoop::Task done)
{
    worker.Post(
        [this, done = std::move(done)]
        {
            module.reset();
            environment.loop.Post(done);
        });
}

void ModuleWorker::Post(Call call, Completion done)
{
    worker.Post(
        [this, call = std::move(call), done = std::move(done)]
        {
            const RequestResult result =
                module ? call(ModuleCalls(*module, componentId))
                       : RequestResult::Refused(RequestResult::TryLater,
                                                "The updater is starting. Try again in a moment.");
            environment.loop.Post([done, result] { done(result); });
        });
}

void ModuleWorker::Read(const Question& question, std::function<void(const ModuleVersions&)> done)
{
    worker.Post(
        [this, question, done = std::move(done)]
        {
            const ModuleVersions versions = module ? ReadVersions(question) : ModuleVersions();
            environment.loop.Post([done, versions] { done(versions); });
        });
}

ModuleVersions ModuleWorker::ReadVersions(const Question& question)
{
    const ModuleCalls calls(*module, componentId);
    ModuleVersions versions;
    if (question.current)
    {
        calls.ReadCurrent(versions);
    }
    if (question.pending)
    {
        calls.ReadPending(versions);
        NoteProgress();
    }
    if (question.fallback)
    {
        calls.ReadFallback(versions);
    }
    return versions;
}

void ModuleWorker::Deliver(const std::shared_ptr<Delivery::FileDescriptor>& bundle, DeliveryCompletion done)
{
    worker.Post(
        [this, bundle, done = std::move(done)]
        {
            std::shared_ptr<DeliveredFile> file;
            const RequestResult result = TakeBundle(*bundle, file);
            environment.loop.Post([done, result, file] { done(result, file); });
        });
}

RequestResult ModuleWorker::TakeBundle(const Delivery::FileDescriptor& bundle,
                                       std::shared_ptr<DeliveredFile>& file)
{
    try
    {
        const auto goOn = [this]
        {
            NoteProgress();
            if (worker.IsStopped())
            {
                throw Exception("The service ends.");
            }
        };
        file = environment.delivery.Take(bundle, goOn);
        return RequestResult::Done();
    }
    catch (const ArgumentException& exception)
    {
        return RequestResult::Refused(ToString(ResultCode::InvalidArgument), exception.GetMessage());
    }
    catch (const OutOfMemoryException& exception)
    {
        return RequestResult::FromCode(ResultCode::OutOfMemory, exception.GetMessage());
    }
    catch (const std::exception& exception)
    {
        Log(LogLevel::Error, "A bundle could not be taken over: {0}", exception.what());
        return RequestResult::FromCode(ResultCode::OperationFailed, exception.what());
    }
}

void ModuleWorker::Remove(const std::shared_ptr<DeliveredFile>& file)
{
    if (file)
    {
        worker.Post([file] { file->Remove(); });
    }
}

void ModuleWorker::Stop()
{
    worker.Stop();
    module.reset();
}

} // namespace Zel::Host::Service
