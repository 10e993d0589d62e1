#pragma once

#include "Service/RequestResult.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <cstdint>
#include <optional>

namespace Zel::Host::Service
{

/// What a client wants installed.
struct InstallRequest
{
    /// Empty for the pending version, or for the fallback one with `fallback`.
    String version;
    bool fallback = false;
    /// Milliseconds to wait first.
    std::uint64_t delay = 0;
};

/// What a module answered about its component; what was not asked or could not be told is not set. Versions
/// are empty where there is none.
struct ModuleVersions
{
    std::optional<String> currentVersion;
    std::optional<String> pendingVersion;
    std::optional<String> fallbackVersion;
    std::optional<bool> revertible;
};

/// A module's operations in the service's terms. Every call may block for long, and belongs on the
/// component's worker. Nothing is thrown: an exception of the module is logged at error level and becomes a
/// result.
class ModuleCalls : private System::Commons::Diagnostics::Logging::Loggable<ModuleCalls>
{
public:
    using IUpdaterModule = Services::SoftwareUpdate::IUpdaterModule;
    using FileType = Services::SoftwareUpdate::SoftwareVersionFileType;

    ModuleCalls(IUpdaterModule& module, String componentId);

    /// Reads the version that runs; needs no RAUC.
    void ReadCurrent(ModuleVersions& versions) const;
    /// Reads the pending version. A module that RAUC does not answer throws the pending bundle away.
    void ReadPending(ModuleVersions& versions) const;
    /// Reads the fallback version, of which a module makes a limited number of attempts, and whether there is
    /// something to revert.
    void ReadFallback(ModuleVersions& versions) const;

    /// Hands the file at `path` over; yields the version that is pending then.
    [[nodiscard]] RequestResult Stage(const String& path) const;
    /// Starts or schedules an installation.
    [[nodiscard]] RequestResult Install(const InstallRequest& request) const;
    [[nodiscard]] RequestResult Revert() const;
    [[nodiscard]] RequestResult Resume() const;

private:
    using ResultCode = Services::SoftwareUpdate::ResultCode;
    using SoftwareVersion = IUpdaterModule::SoftwareVersionType;

    [[nodiscard]] std::optional<String> ReadVersion(FileType fileType) const;
    /// Runs `call` and turns what it throws into a result.
    template <typename Call>
    [[nodiscard]] static RequestResult Guard(const Call& call);
    /// Fills `version` with the record of the version that is asked for, or says why there is none.
    [[nodiscard]] RequestResult Choose(const InstallRequest& request, SoftwareVersion& version) const;
    [[nodiscard]] String GetStatusMessage() const;

    IUpdaterModule& module;
    const String componentId;
};

} // namespace Zel::Host::Service
