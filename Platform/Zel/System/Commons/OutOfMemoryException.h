#pragma once

#include "Zel/Exception.h"

namespace Zel::System::Commons
{

/// There is not enough memory, or not enough space on a file system.
class ZEL_API OutOfMemoryException : public Exception
{
public:
    using Exception::Exception;
    ~OutOfMemoryException() override;
    OutOfMemoryException(const OutOfMemoryException&) = default;
    OutOfMemoryException(OutOfMemoryException&&) = default;
    OutOfMemoryException& operator=(const OutOfMemoryException&) = default;
    OutOfMemoryException& operator=(OutOfMemoryException&&) = default;
};

} // namespace Zel::System::Commons
