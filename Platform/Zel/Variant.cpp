#include "Zel/Variant.h"

#include "Zel/System/Core/Format.h"

#include <type_traits>
#include <utility>

namespace Zel
{

Variant::Variant(bool value) : value(value) {}

Variant::Variant(std::int32_t value) : value(std::int64_t{value}) {}

Variant::Variant(std::uint32_t value) : value(std::uint64_t{value}) {}

Variant::Variant(std::int64_t value) : value(value) {}

Variant::Variant(std::uint64_t value) : value(value) {}

Variant::Variant(double value) : value(value) {}

Variant::Variant(String value) : value(std::move(value)) {}

Variant::Variant(const char* value) : value(String(value)) {}

bool Variant::IsNone() const noexcept
{
    return std::holds_alternative<std::monostate>(value);
}

String Variant::ToString() const
{
    return std::visit(
        [](const auto& held) -> String
        {
            using Held = std::remove_cvref_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>)
            {
                return {};
            }
            else if constexpr (std::is_same_v<Held, double>)
            {
                return System::Core::Format("{:g}", held);
            }
            else
            {
                return System::Core::Format("{}", held);
            }
        },
        value);
}

} // namespace Zel
