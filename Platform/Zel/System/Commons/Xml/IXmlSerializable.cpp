#include "Zel/System/Commons/Xml/IXmlSerializable.h"

namespace Zel::System::Commons::Xml
{

IXmlSerializable::~IXmlSerializable() = default;

} // namespace Zel::System::Commons::Xml
