#include "Zel/Exception.h"

#include "Zel/TypeName.h"

#include <utility>

namespace Zel
{

Exception::Exception(String message) : message(std::move(message)) {}

Exception::~Exception() = default;

const char* Exception::what() const noexcept
{
    return message.c_str();
}

const String& Exception::GetMessage() const noexcept
{
    return message;
}

String Exception::ToString() const
{
    return TypeName(typeid(*this)) + ": " + message;
}

String DescribeCurrentException()
{
    try
    {
        throw;
    }
    catch (const Exception& exception)
    {
        return exception.ToString();
    }
    catch (const std::exception& exception)
    {
        return exception.what();
    }
    catch (...)
    {
        return "unknown exception";
    }
}

} // namespace Zel
