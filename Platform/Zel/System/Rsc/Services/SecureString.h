#pragma once

#include "Zel/System/Commons/ArgumentException.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace Zel::System::Rsc::Services
{

/// A secret of at most `Size - 1` characters in a buffer of its own, which is overwritten when the object is
/// destroyed, assigned to or moved from. Building one from a longer text throws `ArgumentException` ("arg",
/// "Input string is too long").
template <std::size_t Size>
class SecureString
{
public:
    SecureString() = default;

    explicit SecureString(std::string_view text)
    {
        if (text.size() >= Size)
        {
            throw Commons::ArgumentException("arg", "Input string is too long");
        }
        text.copy(buffer.data(), text.size());
        length = text.size();
    }

    SecureString(const SecureString& other) noexcept = default;

    SecureString(SecureString&& other) noexcept : buffer(other.buffer), length(other.length) { other.Wipe(); }

    SecureString& operator=(const SecureString& other) noexcept = default;

    SecureString& operator=(SecureString&& other) noexcept
    {
        if (this != &other)
        {
            buffer = other.buffer;
            length = other.length;
            other.Wipe();
        }
        return *this;
    }

    ~SecureString() { Wipe(); }

    [[nodiscard]] std::string_view GetView() const noexcept { return {buffer.data(), length}; }

    /// Overwrites the whole buffer and the length, in a way that the compiler does not leave out, and so
    /// makes the text empty.
    void Wipe() noexcept
    {
        explicit_bzero(buffer.data(), buffer.size());
        explicit_bzero(&length, sizeof(length));
    }

private:
    std::array<char, Size> buffer{};
    std::size_t length = 0;
};

} // namespace Zel::System::Rsc::Services
