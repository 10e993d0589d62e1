#pragma once

#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Zel::Tests::Support
{

/// What a `FakeUpdaterModule` does, and what was asked of it. Set up before the module is used; the calls may
/// be read at any time.
class ModuleScript
{
public:
    using FileType = Services::SoftwareUpdate::SoftwareVersionFileType;
    using IUpdaterStatus = Services::SoftwareUpdate::IUpdaterStatus;
    using ResultCode = Services::SoftwareUpdate::ResultCode;

    /// The versions there are; the others are not found.
    void SetVersion(FileType fileType, const String& revision);
    [[nodiscard]] String GetVersion(FileType fileType) const;

    /// The calls since the last `Clear`, for example "GetSoftwareVersion Pending".
    [[nodiscard]] std::vector<String> GetCalls() const;
    void AddCall(const String& call);
    void Clear();

    /// Each may be empty, for a success that does nothing, and may throw.
    std::function<void(IUpdaterStatus& status)> initialize;
    std::function<void(FileType fileType)> read;
    std::function<ResultCode(const String& path, String& message)> stage;
    std::function<ResultCode(IUpdaterStatus& status, const String& revision, long long delay)> install;
    std::function<ResultCode(IUpdaterStatus& status)> revert;
    std::function<void()> destroy;

private:
    mutable std::mutex mutex;
    std::map<FileType, String> versions;
    std::vector<String> calls;
};

/// An updater module that keeps to its script.
class FakeUpdaterModule : public Services::SoftwareUpdate::IUpdaterModule
{
public:
    using FileType = ModuleScript::FileType;
    using IUpdaterStatus = ModuleScript::IUpdaterStatus;
    using ResultCode = ModuleScript::ResultCode;
    using SoftwareUpdateStatus = Services::SoftwareUpdate::SoftwareUpdateStatus;
    using UpdateBehavior = Services::SoftwareUpdate::UpdateBehavior;

    explicit FakeUpdaterModule(std::shared_ptr<ModuleScript> script);
    ~FakeUpdaterModule() override;
    FakeUpdaterModule(const FakeUpdaterModule&) = delete;
    FakeUpdaterModule& operator=(const FakeUpdaterModule&) = delete;

    void Initialize(const String& settingsPath, std::shared_ptr<IUpdaterStatus> updaterStatus) override;
    ResultCode GetUpdateBehavior(const String& componentId, const String& manufacturerUri,
                                 const String& softwareRevision, const std::vector<String>& patchIdentifiers,
                                 UpdateBehavior& behavior) override;
    ResultCode GetSoftwareVersion(const String& componentId, FileType fileType,
                                  SoftwareVersionType& version) override;
    ResultCode SetSoftwarePackage(const String& componentId, FileType fileType, const String& packagePath,
                                  String& message) override;
    ResultCode GetSoftwarePackage(const String& componentId, FileType fileType,
                                  const String& packagePath) override;
    ResultCode InstallSoftwarePackage(const String& componentId, const SoftwareVersionType& version,
                                      long long delayMs) override;
    ResultCode GetStatus(const String& componentId, SoftwareUpdateStatus& status) override;
    ResultCode ResumeInstall(const String& componentId) override;
    ResultCode SetUpdateKey(const String& componentId,
                            const System::Rsc::Services::SecureString<512>& key) override;
    ResultCode RevertInstall(const String& componentId) override;

private:
    const std::shared_ptr<ModuleScript> script;
    std::shared_ptr<IUpdaterStatus> status;
};

} // namespace Zel::Tests::Support
