#include "Zel/String.h"

#include <algorithm>
#include <cctype>

namespace Zel
{

namespace
{

constexpr std::size_t MaximumSequenceLength = 4;

bool IsContinuation(char character) noexcept
{
    return (static_cast<unsigned char>(character) & 0xC0U) == 0x80U;
}

/// The bytes of the UTF-8 sequence that `lead` announces; 1 for what is no lead byte.
std::size_t GetSequenceLength(char lead) noexcept
{
    const auto byte = static_cast<unsigned char>(lead);
    if (byte >= 0xF0U)
    {
        return 4;
    }
    if (byte >= 0xE0U)
    {
        return 3;
    }
    return byte >= 0xC0U ? 2 : 1;
}

} // namespace

String ToLower(const String& text)
{
    String lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return lower;
}

String Join(const std::vector<String>& texts, const String& separator)
{
    String joined;
    for (const auto& text : texts)
    {
        if (&text != &texts.front())
        {
            joined += separator;
        }
        joined += text;
    }
    return joined;
}

String Truncate(const String& text, std::size_t maximumBytes)
{
    if (text.size() <= maximumBytes)
    {
        return text;
    }
    // Only the sequence that the cut would split is dropped: malformed text is not eaten up to its start.
    const std::size_t searched = std::min(maximumBytes, MaximumSequenceLength - 1);
    for (std::size_t length = 1; length <= searched; ++length)
    {
        const std::size_t start = maximumBytes - length;
        if (!IsContinuation(text[start]))
        {
            const bool split = GetSequenceLength(text[start]) > length && IsContinuation(text[maximumBytes]);
            return text.substr(0, split ? start : maximumBytes);
        }
    }
    return text.substr(0, maximumBytes);
}

} // namespace Zel
