#include "Zel/System/Rsc/IService.h"

namespace Zel::System::Rsc
{

IService::~IService() = default;

} // namespace Zel::System::Rsc
