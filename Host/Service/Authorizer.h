#pragma once

#include <sys/types.h>

namespace Zel::Host::Service
{

/// Decides who may change something. Everybody may read.
class Authorizer
{
public:
    /// Root and the user that the service runs as.
    [[nodiscard]] static bool MayChange(uid_t effectiveUser) noexcept;
};

} // namespace Zel::Host::Service
