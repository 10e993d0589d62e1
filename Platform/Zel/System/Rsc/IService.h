#pragma once

#include "Zel/Visibility.h"

namespace Zel::System::Rsc
{

/// Base of every service interface that `ServiceManager` hands out.
class ZEL_API IService
{
public:
    virtual ~IService();
};

} // namespace Zel::System::Rsc
