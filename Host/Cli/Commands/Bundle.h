#pragma once

#include "Cli/BusClient.h"
#include "Cli/Report.h"
#include "Cli/ServiceAnswers.h"
#include "Cli/Session.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

#include <vector>

namespace Zel::Host::Cli
{

/// Opens the bundle that the arguments name. Standard input is read to its end, once the service was found to
/// be there. Throws `CommandError`.
[[nodiscard]] System::Commons::Io::FileDescriptor OpenBundle(Session& session);

/// Hands a bundle over and says so. Returns its version.
[[nodiscard]] String StageBundle(Session& session, BusClient& client,
                                 const System::Commons::Io::FileDescriptor& bundle);

/// Hands the bundle that the arguments name over for a look at it, and says so.
[[nodiscard]] BundleInspection InspectBundle(Session& session);

/// Returns the check that failed and tells most: one of the bundle itself, which no later call changes,
/// before others; null where none failed.
[[nodiscard]] const BundleCheck* FindFailure(const std::vector<BundleCheck>& checks);

/// Returns the failed check of the bundle itself; null where none failed.
[[nodiscard]] const BundleCheck* FindRejection(const std::vector<BundleCheck>& checks);

/// Sets that the bundle is rejected, or cannot be installed now, because of a failed check.
void SetFailure(const BundleCheck& check, Report& report);

} // namespace Zel::Host::Cli
