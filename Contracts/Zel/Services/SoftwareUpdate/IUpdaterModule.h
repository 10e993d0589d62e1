#pragma once

#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"
#include "Zel/Services/SoftwareUpdate/ResultCode.h"
#include "Zel/Services/SoftwareUpdate/Services/Internal/SoftwareVersionType.h"
#include "Zel/Services/SoftwareUpdate/SoftwareUpdateStatus.h"
#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"
#include "Zel/Services/SoftwareUpdate/UpdateBehavior.h"
#include "Zel/String.h"
#include "Zel/System/Rsc/Services/SecureString.h"
#include "Zel/Visibility.h"

#include <memory>
#include <vector>

namespace Zel::Services::SoftwareUpdate
{

/// What updates one component of the device. The service creates it through its library's factory,
/// initializes it once, calls the operations from its own threads and destroys it. Every operation that takes
/// a component ID returns `InvalidArgument` for another component than the module's, unless it does not
/// support the request for any; letter case does not count. The order of the operations is fixed.
///
/// A module keeps its own data whole under concurrent calls, but it does not serialise the requests that
/// change something: between the state that it checks and the one that it begins another request can come.
/// The service therefore has at most one of `SetSoftwarePackage`, `InstallSoftwarePackage`, `ResumeInstall`
/// and `RevertInstall` under way for a component; what only reads may be called at any time.
class ZEL_API IUpdaterModule
{
public:
    using SoftwareVersionType = Services::Internal::SoftwareVersionType;

    virtual ~IUpdaterModule();

    /// Reads the settings document at `settingsPath`, connects to what the module needs and, when
    /// `updaterStatus` says that an installation was running, decides its result. Throws `Zel::Exception`
    /// (and what a settings document can throw); the module is unusable then.
    virtual void Initialize(const String& settingsPath, std::shared_ptr<IUpdaterStatus> updaterStatus) = 0;

    /// Tells what installing a version would mean. `behavior` is `None` unless the version is the pending or
    /// the fallback one.
    virtual ResultCode GetUpdateBehavior(const String& componentId, const String& manufacturerUri,
                                         const String& softwareRevision,
                                         const std::vector<String>& patchIdentifiers,
                                         UpdateBehavior& behavior) = 0;

    /// Reads one of the component's versions; `version` is reset first, unless the ID is not the component's.
    virtual ResultCode GetSoftwareVersion(const String& componentId, SoftwareVersionFileType fileType,
                                          SoftwareVersionType& version) = 0;

    /// Takes the file at `packagePath` over as the pending package, after it was verified. `message` says why
    /// not, where there is more to say than the result does. The earlier pending package stays when the new
    /// one is refused.
    virtual ResultCode SetSoftwarePackage(const String& componentId, SoftwareVersionFileType fileType,
                                          const String& packagePath, String& message) = 0;

    /// Copies a package out to `packagePath`.
    virtual ResultCode GetSoftwarePackage(const String& componentId, SoftwareVersionFileType fileType,
                                          const String& packagePath) = 0;

    /// Installs a version, the pending or the fallback one, after `delayMs` milliseconds; at once below 1.
    /// `Ok` means that it was started or is waiting; its course is told to the status store.
    virtual ResultCode InstallSoftwarePackage(const String& componentId, const SoftwareVersionType& version,
                                              long long delayMs) = 0;

    /// Reads the component's status; the revertible flag is cleared when there is nothing to go back to.
    virtual ResultCode GetStatus(const String& componentId, SoftwareUpdateStatus& status) = 0;

    /// Leaves the failed state, so that an installation can be requested again.
    virtual ResultCode ResumeInstall(const String& componentId) = 0;

    /// Sets the key that packages are decrypted with.
    virtual ResultCode SetUpdateKey(const String& componentId,
                                    const System::Rsc::Services::SecureString<512>& key) = 0;

    /// Goes back to the slot that the last installation started from, and restarts the device.
    virtual ResultCode RevertInstall(const String& componentId) = 0;
};

} // namespace Zel::Services::SoftwareUpdate
