#pragma once

#include "Zel/Exception.h"

namespace Zel::System::Commons
{

/// A document is not well formed, or does not say what its reader needs.
class ZEL_API XmlException : public Exception
{
public:
    using Exception::Exception;
    ~XmlException() override;
    XmlException(const XmlException&) = default;
    XmlException(XmlException&&) = default;
    XmlException& operator=(const XmlException&) = default;
    XmlException& operator=(XmlException&&) = default;
};

} // namespace Zel::System::Commons
