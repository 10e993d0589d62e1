#include "Zel/System/Commons/OutOfMemoryException.h"

namespace Zel::System::Commons
{

OutOfMemoryException::~OutOfMemoryException() = default;

} // namespace Zel::System::Commons
