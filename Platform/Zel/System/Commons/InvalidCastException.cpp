#include "Zel/System/Commons/InvalidCastException.h"

namespace Zel::System::Commons
{

InvalidCastException::~InvalidCastException() = default;

} // namespace Zel::System::Commons
