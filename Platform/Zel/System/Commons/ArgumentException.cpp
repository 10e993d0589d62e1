#include "Zel/System/Commons/ArgumentException.h"

#include <utility>

namespace Zel::System::Commons
{

ArgumentException::ArgumentException(String argumentName, String message)
    : Exception(std::move(message)), argumentName(std::move(argumentName))
{
}

ArgumentException::~ArgumentException() = default;

String ArgumentException::ToString() const
{
    return Exception::ToString() + " (argument '" + argumentName + "')";
}

} // namespace Zel::System::Commons
