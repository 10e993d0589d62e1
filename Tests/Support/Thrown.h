#pragma once

#include "Zel/Exception.h"

namespace Zel::Tests::Support
{

/// Returns the platform's exception that the operation throws, as text; "nothing" when it throws none.
template <typename Operation>
[[nodiscard]] String GetThrown(const Operation& operation)
{
    try
    {
        operation();
    }
    catch (const Exception& exception)
    {
        return exception.ToString();
    }
    return "nothing";
}

} // namespace Zel::Tests::Support
