#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/ArgumentException.h"

#include <array>
#include <concepts>
#include <cstddef>
#include <string_view>

namespace Zel::System::Commons
{

/// A text in a buffer of `Size` characters, its terminating zero included, so that `Size - 1` can be used.
/// Copying a longer text into it throws `ArgumentException` ("arg", "Input string is too long") and changes
/// nothing.
template <std::size_t Size>
class FixedText
{
public:
    /// The most characters that it holds.
    static constexpr std::size_t Capacity = Size - 1;

    FixedText() = default;

    FixedText(std::string_view text) { Assign(text); }

    FixedText(const String& text) { Assign(text); }

    FixedText(const char* text) { Assign(text); }

    FixedText& operator=(std::string_view text)
    {
        Assign(text);
        return *this;
    }

    FixedText& operator=(const String& text) { return *this = std::string_view(text); }

    FixedText& operator=(const char* text) { return *this = std::string_view(text); }

    [[nodiscard]] bool IsEmpty() const noexcept { return length == 0; }

    [[nodiscard]] std::string_view GetView() const noexcept { return {buffer.data(), length}; }

    [[nodiscard]] String ToString() const { return String(GetView()); }

    friend bool operator==(const FixedText& left, const FixedText& right) noexcept
    {
        return left.GetView() == right.GetView();
    }

    /// Compares with any other text, also one that is too long to be held.
    template <std::convertible_to<std::string_view> Text>
    friend bool operator==(const FixedText& left, const Text& right) noexcept
    {
        return left.GetView() == std::string_view(right);
    }

private:
    void Assign(std::string_view text)
    {
        if (text.size() > Capacity)
        {
            throw ArgumentException("arg", "Input string is too long");
        }
        // Not a copy: the text may be a piece of this one.
        std::char_traits<char>::move(buffer.data(), text.data(), text.size());
        length = text.size();
        buffer[length] = '\0';
    }

    std::array<char, Size> buffer{};
    std::size_t length = 0;
};

} // namespace Zel::System::Commons
