#include "Service/SystemCall.h"

#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <system_error>

namespace Zel::Host::Service
{

int CheckSystemCall(int result, const char* action)
{
    if (result < 0)
    {
        throw Exception(
            System::Core::Format("Failed to {0}: {1}", action, std::generic_category().message(-result)));
    }
    return result;
}

} // namespace Zel::Host::Service
