#pragma once

#include "Support/Recorded.h"
#include "Support/TemporaryFolder.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

#include <gmock/gmock.h>

#include <functional>

namespace Zel::Tests::Support
{

/// What `FakeUpdaterModule`s do, and what was asked of them. The handlers are set before they are used; the
/// rest at any time.
struct ModuleScript
{
    using FileType = Services::SoftwareUpdate::SoftwareVersionFileType;
    using IUpdaterStatus = Services::SoftwareUpdate::IUpdaterStatus;
    using ResultCode = Services::SoftwareUpdate::ResultCode;

    /// Sets a version from then on, to a literal; one of no text is not found.
    void SetVersion(FileType type, const char* revision)
    {
        versions.at(static_cast<std::size_t>(type)) = revision;
    }

    /// For example "GetSoftwareVersion Pending".
    Recorded<String> calls;
    /// Each may throw.
    std::function<void(IUpdaterStatus& status)> initialize = [](auto&) {};
    std::function<void(FileType fileType)> read = [](FileType) {};
    std::function<ResultCode(const String& path, String& message)> stage = [](auto&, auto&)
    { return ResultCode::Ok; };
    std::function<ResultCode(IUpdaterStatus& status, const String& revision, long long delay)> install =
        [](auto&, auto&, auto) { return ResultCode::Ok; };
    std::function<ResultCode(IUpdaterStatus& status)> revert = [](auto&) { return ResultCode::Ok; };
    /// By `FileType`.
    std::array<std::atomic<const char*>, 3> versions = {"", "", ""};
};

/// An updater module that keeps to a script.
class FakeUpdaterModule : public Services::SoftwareUpdate::IUpdaterModule
{
public:
    using FileType = ModuleScript::FileType;
    using ResultCode = ModuleScript::ResultCode;

    explicit FakeUpdaterModule(std::shared_ptr<ModuleScript> script) : script(std::move(script)) {}

    ~FakeUpdaterModule() override { script->calls.Add("Destroy"); }

    void Initialize(const String& settings, std::shared_ptr<ModuleScript::IUpdaterStatus> given) override
    {
        script->calls.Add("Initialize " + settings);
        status = std::move(given);
        script->initialize(*status);
    }

    ResultCode GetSoftwareVersion(const String&, FileType type, SoftwareVersionType& version) override
    {
        script->calls.Add(String("GetSoftwareVersion ") + ToString(type));
        script->read(type);
        version = {};
        version.softwareRevision = script->versions.at(static_cast<std::size_t>(type)).load();
        return version.softwareRevision.IsEmpty() ? ResultCode::NotFound : ResultCode::Ok;
    }

    ResultCode SetSoftwarePackage(const String&, FileType, const String& path, String& message) override
    {
        script->calls.Add("SetSoftwarePackage " + TemporaryFolder::Read(path));
        return script->stage(path, message);
    }

    ResultCode InstallSoftwarePackage(const String&, const SoftwareVersionType& version,
                                      long long delay) override
    {
        const String start = delay == 0 ? "" : " in " + std::to_string(delay) + " ms";
        script->calls.Add("InstallSoftwarePackage " + version.softwareRevision.ToString() + start);
        return script->install(*status, version.softwareRevision.ToString(), delay);
    }

    ResultCode GetStatus(const String& id, Services::SoftwareUpdate::SoftwareUpdateStatus& value) override
    {
        return status->GetStatus(id, value) ? ResultCode::Ok : ResultCode::GeneralError;
    }

    ResultCode ResumeInstall(const String& id) override
    {
        return status->ResumeInstallation(id) ? ResultCode::Ok : ResultCode::InvalidState;
    }

    ResultCode RevertInstall(const String&) override
    {
        script->calls.Add("RevertInstall");
        return script->revert(*status);
    }

    // Nobody calls these.
    MOCK_METHOD(ResultCode, GetUpdateBehavior,
                (const String&, const String&, const String&, const std::vector<String>&,
                 Services::SoftwareUpdate::UpdateBehavior&),
                (override));
    MOCK_METHOD(ResultCode, GetSoftwarePackage, (const String&, FileType, const String&), (override));
    MOCK_METHOD(ResultCode, SetUpdateKey, (const String&, const System::Rsc::Services::SecureString<512>&),
                (override));

private:
    const std::shared_ptr<ModuleScript> script;
    std::shared_ptr<ModuleScript::IUpdaterStatus> status;
};

} // namespace Zel::Tests::Support
