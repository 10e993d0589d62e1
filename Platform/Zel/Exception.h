#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <exception>

namespace Zel
{

/// Base of every exception that the platform throws.
class ZEL_API Exception : public std::exception
{
public:
    explicit Exception(String message);
    ~Exception() override;
    Exception(const Exception&) = default;
    Exception(Exception&&) = default;
    Exception& operator=(const Exception&) = default;
    Exception& operator=(Exception&&) = default;

    [[nodiscard]] const char* what() const noexcept override;
    [[nodiscard]] const String& GetMessage() const noexcept;

    /// Returns "{type name}: {message}"; derived classes append what else they know.
    [[nodiscard]] virtual String ToString() const;

private:
    String message;
};

/// Returns the text of the exception that is being handled: `ToString` of one of ours, `what` of a standard
/// one, "unknown exception" for any other. To be called in a catch block only.
[[nodiscard]] ZEL_API String DescribeCurrentException();

} // namespace Zel
