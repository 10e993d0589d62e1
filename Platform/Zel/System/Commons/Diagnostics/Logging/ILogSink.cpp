#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"

#include <string_view>

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

constexpr std::size_t FirstMultiByte = 0x80;

std::size_t ToByte(char character) noexcept
{
    return static_cast<unsigned char>(character);
}

bool IsContinuation(std::string_view text, std::size_t position) noexcept
{
    return position < text.size() && (ToByte(text[position]) & 0xC0U) == 0x80U;
}

/// Returns the bytes of the character at the front of `text`, 0 where it is a control character or no UTF-8.
std::size_t GetPrintableLength(std::string_view text) noexcept
{
    const std::size_t lead = ToByte(text[0]);
    if (lead < FirstMultiByte)
    {
        return lead < 0x20U || lead == 0x7FU ? 0 : 1;
    }
    const std::size_t second = text.size() > 1 ? ToByte(text[1]) : 0;
    if (lead >= 0xC2U && lead <= 0xDFU && IsContinuation(text, 1))
    {
        // U+0080 to U+009F steer a terminal like the bytes below 0x20.
        return lead == 0xC2U && second < 0xA0U ? 0 : 2;
    }
    if (lead >= 0xE0U && lead <= 0xEFU && IsContinuation(text, 1) && IsContinuation(text, 2))
    {
        const bool overlong = lead == 0xE0U && second < 0xA0U;
        const bool surrogate = lead == 0xEDU && second >= 0xA0U;
        return overlong || surrogate ? 0 : 3;
    }
    if (lead >= 0xF0U && lead <= 0xF4U && IsContinuation(text, 1) && IsContinuation(text, 2) &&
        IsContinuation(text, 3))
    {
        const bool overlong = lead == 0xF0U && second < 0x90U;
        const bool tooHigh = lead == 0xF4U && second >= 0x90U;
        return overlong || tooHigh ? 0 : 4;
    }
    return 0;
}

} // namespace

ILogSink::~ILogSink() = default;

String EscapeControlCharacters(const String& text)
{
    constexpr std::string_view HexDigits = "0123456789ABCDEF";
    String escaped;
    escaped.reserve(text.size());
    std::string_view rest = text;
    while (!rest.empty())
    {
        const std::size_t length = GetPrintableLength(rest);
        if (length == 0)
        {
            const std::size_t byte = ToByte(rest.front());
            escaped.append("\\x").append({HexDigits[byte / 16], HexDigits[byte % 16]});
            rest.remove_prefix(1);
            continue;
        }
        escaped.append(rest, 0, length);
        rest.remove_prefix(length);
    }
    return escaped;
}

} // namespace Zel::System::Commons::Diagnostics::Logging
