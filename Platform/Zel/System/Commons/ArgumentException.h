#pragma once

#include "Zel/Exception.h"

namespace Zel::System::Commons
{

/// An argument has a value that the called operation refuses.
class ZEL_API ArgumentException : public Exception
{
public:
    ArgumentException(String argumentName, String message);
    ~ArgumentException() override;
    ArgumentException(const ArgumentException&) = default;
    ArgumentException(ArgumentException&&) = default;
    ArgumentException& operator=(const ArgumentException&) = default;
    ArgumentException& operator=(ArgumentException&&) = default;

    /// Returns "{type name}: {message} (argument '{name}')".
    [[nodiscard]] String ToString() const override;

private:
    String argumentName;
};

} // namespace Zel::System::Commons
