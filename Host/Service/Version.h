#pragma once

#include "Zel/String.h"

namespace Zel::Host::Service
{

/// The service's version, for example "0.1.0".
extern const String Version;

} // namespace Zel::Host::Service
