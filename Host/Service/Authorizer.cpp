#include "Service/Authorizer.h"

#include <unistd.h>

namespace Zel::Host::Service
{

bool Authorizer::MayChange(uid_t effectiveUser) noexcept
{
    return effectiveUser == 0 || effectiveUser == geteuid();
}

} // namespace Zel::Host::Service
