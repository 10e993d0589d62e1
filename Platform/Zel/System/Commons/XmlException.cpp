#include "Zel/System/Commons/XmlException.h"

namespace Zel::System::Commons
{

XmlException::~XmlException() = default;

} // namespace Zel::System::Commons
