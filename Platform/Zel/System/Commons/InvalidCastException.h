#pragma once

#include "Zel/Exception.h"

namespace Zel::System::Commons
{

/// An object does not implement the interface that was asked of it.
class ZEL_API InvalidCastException : public Exception
{
public:
    using Exception::Exception;
    ~InvalidCastException() override;
    InvalidCastException(const InvalidCastException&) = default;
    InvalidCastException(InvalidCastException&&) = default;
    InvalidCastException& operator=(const InvalidCastException&) = default;
    InvalidCastException& operator=(InvalidCastException&&) = default;
};

} // namespace Zel::System::Commons
