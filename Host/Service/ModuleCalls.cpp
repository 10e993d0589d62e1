#include "Service/ModuleCalls.h"

#include "Zel/System/Commons/ArgumentException.h"

#include <utility>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::SoftwareUpdateStatus;
using System::Commons::ArgumentException;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

template <typename Call>
RequestResult ModuleCalls::Guard(const Call& call)
{
    try
    {
        return call();
    }
    catch (const ArgumentException& exception)
    {
        return RequestResult::FromCode(ResultCode::InvalidArgument, exception.GetMessage());
    }
    catch (const std::exception& exception)
    {
        Log(LogLevel::Error, "The module failed: {0}", exception.what());
        return RequestResult::FromCode(ResultCode::OperationFailed, exception.what());
    }
    catch (...)
    {
        const String reason = DescribeCurrentException();
        Log(LogLevel::Error, "The module failed: {0}", reason);
        return RequestResult::FromCode(ResultCode::OperationFailed, reason);
    }
}

ModuleCalls::ModuleCalls(IUpdaterModule& module, String componentId)
    : module(module), componentId(std::move(componentId))
{
}

std::optional<String> ModuleCalls::ReadVersion(FileType fileType) const
{
    try
    {
        SoftwareVersion version;
        const ResultCode code = module.GetSoftwareVersion(componentId, fileType, version);
        if (code == ResultCode::Ok)
        {
            return version.softwareRevision.ToString();
        }
        // There is none: no bundle, or one that is not fit; no other valid slot.
        if (code == ResultCode::NotFound || code == ResultCode::InvalidArgument ||
            (code == ResultCode::OperationFailed && fileType == FileType::Fallback))
        {
            return String();
        }
        Log(LogLevel::Warning, "The {0} version could not be read: {1}", ToString(fileType), ToString(code));
    }
    catch (...)
    {
        Log(LogLevel::Error, "The {0} version could not be read: {1}", ToString(fileType),
            DescribeCurrentException());
    }
    return std::nullopt;
}

void ModuleCalls::ReadCurrent(ModuleVersions& versions) const
{
    versions.currentVersion = ReadVersion(FileType::Current);
}

void ModuleCalls::ReadPending(ModuleVersions& versions) const
{
    versions.pendingVersion = ReadVersion(FileType::Pending);
}

void ModuleCalls::ReadFallback(ModuleVersions& versions) const
{
    versions.fallbackVersion = ReadVersion(FileType::Fallback);
    try
    {
        SoftwareUpdateStatus status;
        if (module.GetStatus(componentId, status) == ResultCode::Ok)
        {
            versions.revertible = status.revertible;
        }
    }
    catch (...)
    {
        Log(LogLevel::Error, "The status could not be read: {0}", DescribeCurrentException());
    }
}

RequestResult ModuleCalls::Stage(const String& path) const
{
    return Guard(
        [&]
        {
            String message;
            const ResultCode code = module.SetSoftwarePackage(componentId, FileType::Pending, path, message);
            if (code == ResultCode::Ok)
            {
                return RequestResult::Done(ReadVersion(FileType::Pending).value_or(String()));
            }
            return code == ResultCode::InvalidArgument ? RequestResult::Refused(ToString(code), message)
                                                       : RequestResult::FromCode(code, message);
        });
}

RequestResult ModuleCalls::Choose(const InstallRequest& request, SoftwareVersion& version) const
{
    if (request.fallback || request.version.empty())
    {
        const FileType fileType = request.fallback ? FileType::Fallback : FileType::Pending;
        if (module.GetSoftwareVersion(componentId, fileType, version) != ResultCode::Ok)
        {
            return RequestResult::Refused(ToString(ResultCode::NotFound),
                                          request.fallback
                                              ? "There is no fallback version: nothing was installed into "
                                                "another slot that RAUC calls good."
                                              : "There is no pending version. Stage a bundle first.");
        }
        const bool wanted = request.version.empty() || version.softwareRevision == request.version;
        return wanted ? RequestResult::Done()
                      : RequestResult::FromCode(ResultCode::NotFound,
                                                Format("The fallback version is '{0}', not '{1}'.",
                                                       version.softwareRevision.GetView(), request.version));
    }
    // The module compares the manufacturer's URI too, which is one for all versions of a component.
    const ResultCode code = module.GetSoftwareVersion(componentId, FileType::Current, version);
    version.softwareRevision = request.version;
    version.patchIdentifiers.clear();
    return RequestResult::FromCode(code, "The version that runs could not be read.");
}

RequestResult ModuleCalls::Install(const InstallRequest& request) const
{
    return Guard(
        [&]
        {
            SoftwareVersion version;
            if (RequestResult choice = Choose(request, version); !choice.IsOk())
            {
                return choice;
            }
            const ResultCode code =
                module.InstallSoftwarePackage(componentId, version, static_cast<long long>(request.delay));
            return code == ResultCode::Ok ? RequestResult::Done()
                                          : RequestResult::FromCode(code, GetStatusMessage());
        });
}

RequestResult ModuleCalls::Revert() const
{
    return Guard(
        [&]
        {
            const ResultCode code = module.RevertInstall(componentId);
            // That the component rests was looked at before.
            return code == ResultCode::InvalidState
                       ? RequestResult::Refused(ToString(code),
                                                "No installation is known that could be reverted.")
                       : RequestResult::FromCode(code);
        });
}

RequestResult ModuleCalls::Resume() const
{
    return Guard(
        [&]
        {
            const ResultCode code = module.ResumeInstall(componentId);
            return code == ResultCode::InvalidState
                       ? RequestResult::Refused(ToString(code),
                                                "The component is not in the failed state: there is nothing "
                                                "to resume.")
                       : RequestResult::FromCode(code);
        });
}

String ModuleCalls::GetStatusMessage() const
{
    SoftwareUpdateStatus status;
    return module.GetStatus(componentId, status) == ResultCode::Ok ? status.message.ToString() : String();
}

} // namespace Zel::Host::Service
