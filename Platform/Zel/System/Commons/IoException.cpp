#include "Zel/System/Commons/IoException.h"

#include <system_error>
#include <utility>

namespace Zel::System::Commons
{

IoException::IoException(const String& action, String path, int errorNumber)
    : Exception("Failed to " + action + " '" + path + "': " + std::generic_category().message(errorNumber)),
      path(std::move(path)), errorNumber(errorNumber)
{
}

IoException::~IoException() = default;

const String& IoException::GetPath() const noexcept
{
    return path;
}

int IoException::GetErrorNumber() const noexcept
{
    return errorNumber;
}

} // namespace Zel::System::Commons
