#include "Support/FakeUpdaterModule.h"

#include <utility>

namespace Zel::Tests::Support
{

void ModuleScript::SetVersion(FileType fileType, const String& revision)
{
    const std::lock_guard lock(mutex);
    versions[fileType] = revision;
}

String ModuleScript::GetVersion(FileType fileType) const
{
    const std::lock_guard lock(mutex);
    const auto found = versions.find(fileType);
    return found == versions.end() ? String() : found->second;
}

std::vector<String> ModuleScript::GetCalls() const
{
    const std::lock_guard lock(mutex);
    return calls;
}

void ModuleScript::AddCall(const String& call)
{
    const std::lock_guard lock(mutex);
    calls.push_back(call);
}

void ModuleScript::Clear()
{
    const std::lock_guard lock(mutex);
    calls.clear();
}

FakeUpdaterModule::FakeUpdaterModule(std::shared_ptr<ModuleScript> script) : script(std::move(script)) {}

FakeUpdaterModule::~FakeUpdaterModule()
{
    script->AddCall("Destroy");
    if (script->destroy)
    {
        script->destroy();
    }
}

void FakeUpdaterModule::Initialize(const String& settingsPath, std::shared_ptr<IUpdaterStatus> updaterStatus)
{
    script->AddCall("Initialize " + settingsPath);
    status = std::move(updaterStatus);
    if (script->initialize)
    {
        script->initialize(*status);
    }
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::GetUpdateBehavior(
    const String& /*componentId*/, const String& /*manufacturerUri*/, const String& /*softwareRevision*/,
    const std::vector<String>& /*patchIdentifiers*/, UpdateBehavior& /*behavior*/)
{
    return ResultCode::NotSupported;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::GetSoftwareVersion(const String& /*componentId*/,
                                                                    FileType fileType,
                                                                    SoftwareVersionType& version)
{
    script->AddCall(String("GetSoftwareVersion ") + ToString(fileType));
    if (script->read)
    {
        script->read(fileType);
    }
    version = {};
    version.softwareRevision = script->GetVersion(fileType);
    return version.softwareRevision.IsEmpty() ? ResultCode::NotFound : ResultCode::Ok;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::SetSoftwarePackage(const String& /*componentId*/,
                                                                    FileType /*fileType*/,
                                                                    const String& packagePath,
                                                                    String& message)
{
    script->AddCall("SetSoftwarePackage");
    return script->stage ? script->stage(packagePath, message) : ResultCode::Ok;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::GetSoftwarePackage(const String& /*componentId*/,
                                                                    FileType /*fileType*/,
                                                                    const String& /*packagePath*/)
{
    return ResultCode::NotSupported;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::InstallSoftwarePackage(const String& /*componentId*/,
                                                                        const SoftwareVersionType& version,
                                                                        long long delayMs)
{
    const String revision = version.softwareRevision.ToString();
    script->AddCall("InstallSoftwarePackage " + revision);
    return script->install ? script->install(*status, revision, delayMs) : ResultCode::Ok;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::GetStatus(const String& componentId,
                                                           SoftwareUpdateStatus& updateStatus)
{
    return status->GetStatus(componentId, updateStatus) ? ResultCode::Ok : ResultCode::GeneralError;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::ResumeInstall(const String& componentId)
{
    script->AddCall("ResumeInstall");
    return status->ResumeInstallation(componentId) ? ResultCode::Ok : ResultCode::InvalidState;
}

FakeUpdaterModule::ResultCode
FakeUpdaterModule::SetUpdateKey(const String& /*componentId*/,
                                const System::Rsc::Services::SecureString<512>& /*key*/)
{
    return ResultCode::NotSupported;
}

FakeUpdaterModule::ResultCode FakeUpdaterModule::RevertInstall(const String& /*componentId*/)
{
    script->AddCall("RevertInstall");
    return script->revert ? script->revert(*status) : ResultCode::Ok;
}

} // namespace Zel::Tests::Support
