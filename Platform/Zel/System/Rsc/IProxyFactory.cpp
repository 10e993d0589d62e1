#include "Zel/System/Rsc/IProxyFactory.h"

namespace Zel::System::Rsc
{

IProxyFactory::~IProxyFactory() = default;

} // namespace Zel::System::Rsc
