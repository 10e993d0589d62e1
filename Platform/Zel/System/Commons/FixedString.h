#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Core/Format.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace Zel::System::Commons
{

/// A text of at most `MaxStringSize` characters, used for keys. Building one from a longer text throws
/// `ArgumentException` ("arg", "Cannot copy string: argument string length {} exceeds MaxStringSize {}").
template <std::size_t MaxStringSize>
class FixedString
{
public:
    FixedString() = default;

    FixedString(const char* text) : FixedString(std::string_view(text)) {}

    FixedString(const String& text) : FixedString(std::string_view(text)) {}

    FixedString(std::string_view text)
    {
        if (text.size() > MaxStringSize)
        {
            throw ArgumentException(
                "arg", Core::Format("Cannot copy string: argument string length {} exceeds MaxStringSize {}",
                                    text.size(), MaxStringSize));
        }
        text.copy(buffer.data(), text.size());
        length = text.size();
    }

    [[nodiscard]] std::string_view GetView() const noexcept { return {buffer.data(), length}; }

    [[nodiscard]] String ToString() const { return String(GetView()); }

    friend bool operator==(const FixedString& left, const FixedString& right) noexcept
    {
        return left.GetView() == right.GetView();
    }

private:
    std::array<char, MaxStringSize> buffer{};
    std::size_t length = 0;
};

} // namespace Zel::System::Commons
