#pragma once

#include "Zel/Exception.h"

namespace Zel::Tests::Support
{

/// Returns what the operation throws as text, one of the platform's with its type; "nothing" when it throws
/// nothing.
template <typename Operation>
[[nodiscard]] String GetThrown(const Operation& operation)
{
    try
    {
        operation();
    }
    catch (const std::exception&)
    {
        return DescribeCurrentException();
    }
    return "nothing";
}

} // namespace Zel::Tests::Support
