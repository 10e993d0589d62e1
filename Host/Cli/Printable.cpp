#include "Cli/Printable.h"

#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"

#include <algorithm>
#include <string_view>

namespace Zel::Host::Cli
{

namespace
{

using System::Commons::Diagnostics::Logging::EscapeControlCharacters;

constexpr std::string_view Blanks = " \t\r\n";

bool IsContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

} // namespace

String Printable(const String& text)
{
    const std::size_t last = text.find_last_not_of(Blanks);
    return EscapeControlCharacters(text.substr(0, last == String::npos ? 0 : last + 1));
}

std::size_t CountColumns(const String& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return !IsContinuation(byte); }));
}

String FitColumns(const String& text, std::size_t columns)
{
    if (CountColumns(text) <= columns)
    {
        return text;
    }
    const std::string_view mark = columns > 2 ? ".." : "";
    std::size_t room = columns - mark.size();
    std::size_t end = 0;
    for (; end < text.size(); ++end)
    {
        if (!IsContinuation(text[end]) && room-- == 0)
        {
            break;
        }
    }
    return text.substr(0, end).append(mark);
}

} // namespace Zel::Host::Cli
