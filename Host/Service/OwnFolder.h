#pragma once

#include "Zel/String.h"

namespace Zel::Host::Service
{

/// Makes a folder of the service's own, its parents included, where it is missing, and closes it to others
/// (mode 0700) where it is not. Returns its path. Throws `IoException`.
const String& PrepareOwnFolder(const String& folder);

} // namespace Zel::Host::Service
