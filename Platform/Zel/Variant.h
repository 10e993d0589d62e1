#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <cstdint>
#include <variant>

namespace Zel
{

/// A value of a type that is known at run time only; a default-constructed one is of the none type.
class ZEL_API Variant
{
public:
    Variant() = default;
    Variant(bool value);
    Variant(std::int32_t value);
    Variant(std::uint32_t value);
    Variant(std::int64_t value);
    Variant(std::uint64_t value);
    Variant(double value);
    Variant(String value);
    Variant(const char* value);

    [[nodiscard]] bool IsNone() const noexcept;

    /// Returns the value as text: integers in decimal, "true" or "false", doubles in general format, texts as
    /// they are, and an empty text for the none type.
    [[nodiscard]] String ToString() const;

    friend bool operator==(const Variant&, const Variant&) = default;

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, String> value;
};

} // namespace Zel
