#include "Service/DeviceInfoFile.h"

#include "Zel/System/Commons/Io/File.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;

namespace
{

std::string_view Trim(std::string_view text)
{
    constexpr std::string_view Blanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(Blanks);
    return begin == std::string_view::npos ? std::string_view()
                                           : text.substr(begin, text.find_last_not_of(Blanks) - begin + 1);
}

} // namespace

DeviceInfoFile::DeviceInfoFile(String path) : path(std::move(path)) {}

DeviceInfoFile::~DeviceInfoFile() = default;

Variant DeviceInfoFile::GetItem(const Key& key)
{
    Variant found;
    try
    {
        const String content = File::ReadAllText(path, MaximumSize);
        for (std::string_view rest = content; !rest.empty();)
        {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            const std::size_t separator = line.find('=');
            const bool isFact = separator != std::string_view::npos && !Trim(line).starts_with('#');
            if (isFact && Trim(line.substr(0, separator)) == key.GetView())
            {
                found = String(Trim(line.substr(separator + 1)));
            }
        }
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "{0}", exception.GetMessage());
    }
    return found;
}

} // namespace Zel::Host::Service
