#include "Service/ServiceSettings.h"

#include "Zel/System/Commons/Xml/XmlConfigDocument.h"
#include "Zel/System/Commons/Xml/XmlWriter.h"
#include "Zel/System/Commons/XmlException.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <functional>
#include <map>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::XmlException;
using System::Commons::Xml::XmlConfigDocument;
using System::Core::Format;

namespace
{

using XmlReader = ServiceSettings::XmlReader;
using XmlSerializationContext = ServiceSettings::XmlSerializationContext;
using LogLevel = ServiceSettings::LogLevel;

[[noreturn]] void Refuse(const XmlReader& reader, const String& reason)
{
    throw XmlException(Format("{0}:{1}: {2}", reader.GetFileName(), reader.GetLine(), reason));
}

String ReadText(XmlReader& reader, const String& name)
{
    String text = reader.ReadElementContent();
    if (text.empty())
    {
        Refuse(reader, Format("{0} must not be empty.", name));
    }
    return text;
}

String ReadPath(XmlReader& reader, const XmlSerializationContext& context, const String& name)
{
    return context.ResolvePath(ReadText(reader, name));
}

std::uint32_t ReadSeconds(XmlReader& reader, const String& name)
{
    const String text = reader.ReadElementContent();
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
    {
        Refuse(reader, Format("{0} must be a whole number of seconds, but is '{1}'.", name, text));
    }
    return number;
}

/// Reads one of some words.
template <typename Value, std::size_t Count>
Value ReadWord(XmlReader& reader, const String& name,
               const std::array<std::pair<const char*, Value>, Count>& words)
{
    const String text = reader.ReadElementContent();
    std::vector<String> expected;
    for (const auto& [word, value] : words)
    {
        if (text == word)
        {
            return value;
        }
        expected.emplace_back(word);
    }
    Refuse(reader, Format("{0} must be one of {1}, but is '{2}'.", name, Join(expected, ", "), text));
}

constexpr std::array<std::pair<const char*, LogLevel>, 5> LogLevels = {{{"error", LogLevel::Error},
                                                                        {"warning", LogLevel::Warning},
                                                                        {"info", LogLevel::Info},
                                                                        {"debug", LogLevel::Debug},
                                                                        {"trace", LogLevel::Trace}}};

constexpr std::array<std::pair<const char*, LogSinkKind>, 3> LogSinks = {
    {{"automatic", LogSinkKind::Automatic},
     {"console", LogSinkKind::Console},
     {"journal", LogSinkKind::Journal}}};

/// Calls `read` with the name of each child element, which is left afterwards; skips those that it refuses.
void ReadChildren(XmlReader& reader, const XmlSerializationContext& context,
                  const std::function<bool(const String& name)>& read)
{
    String name;
    while (reader.TryReadStartElement(name, false))
    {
        if (!read(name))
        {
            context.InvalidXmlElementOccurs(reader, name);
            reader.SkipElementContent();
        }
        reader.ReadEndElement();
    }
}

void Require(const String& value, const XmlReader& reader, const XmlSerializationContext& context,
             const String& name)
{
    if (value.empty())
    {
        context.MissingXmlElementOccurs(reader, name);
    }
}

} // namespace

ServiceSettings::~ServiceSettings() = default;

void ServiceSettings::Load(const String& path)
{
    XmlConfigDocument(XmlRootElement, *this).Load(path);
}

void ServiceSettings::ReadXml(XmlReader& reader, XmlSerializationContext& context)
{
    ReadChildren(reader, context, [&](const String& name) { return TryReadElement(name, reader, context); });
    if (modules.empty())
    {
        context.MissingXmlElementOccurs(reader, XmlModule);
    }
    Require(dataFolder, reader, context, XmlDataFolder);
    Require(deviceInfoFile, reader, context, XmlDeviceInfoFile);
}

bool ServiceSettings::TryReadElement(const String& name, XmlReader& reader,
                                     const XmlSerializationContext& context)
{
    const std::map<String, std::function<void()>> readers = {
        {XmlModule, [&] { ReadModule(reader, context); }},
        {XmlDataFolder, [&] { dataFolder = ReadPath(reader, context, name); }},
        {XmlDeviceInfoFile, [&] { deviceInfoFile = ReadPath(reader, context, name); }},
        {XmlRestartCommand, [&] { ReadRestartCommand(reader, context); }},
        {XmlBootIdFile, [&] { bootIdFile = ReadPath(reader, context, name); }},
        {XmlConfirmationTimeout, [&] { confirmationTimeout = ReadSeconds(reader, name); }},
        {XmlAdministratorGroup, [&] { administratorGroup = ReadText(reader, name); }},
        {XmlLogLevel, [&] { logLevel = ReadWord(reader, name, LogLevels); }},
        {XmlLogSink, [&] { logSink = ReadWord(reader, name, LogSinks); }},
    };
    const auto found = readers.find(name);
    if (found != readers.end())
    {
        found->second();
    }
    return found != readers.end();
}

void ServiceSettings::ReadModule(XmlReader& reader, const XmlSerializationContext& context)
{
    if (!modules.empty())
    {
        Refuse(reader, Format("There can be one {0} only.", XmlModule));
    }
    ModuleSettings module;
    ReadChildren(reader, context,
                 [&](const String& name)
                 {
                     if (name == XmlLibrary)
                     {
                         module.library = ReadPath(reader, context, name);
                     }
                     else if (name == XmlName)
                     {
                         module.name = ReadText(reader, name);
                     }
                     else if (name == XmlSettings)
                     {
                         module.settings = ReadPath(reader, context, name);
                     }
                     else
                     {
                         return false;
                     }
                     return true;
                 });
    Require(module.library, reader, context, XmlLibrary);
    Require(module.name, reader, context, XmlName);
    Require(module.settings, reader, context, XmlSettings);
    modules.push_back(std::move(module));
}

void ServiceSettings::ReadRestartCommand(XmlReader& reader, const XmlSerializationContext& context)
{
    restartCommand.clear();
    ReadChildren(reader, context,
                 [&](const String& name)
                 {
                     if (name != XmlArgument)
                     {
                         return false;
                     }
                     // An argument may be empty, the program's name may not.
                     restartCommand.push_back(restartCommand.empty() ? ReadText(reader, name)
                                                                     : reader.ReadElementContent());
                     return true;
                 });
    if (restartCommand.empty())
    {
        context.MissingXmlElementOccurs(reader, XmlArgument);
    }
}

void ServiceSettings::WriteXml(XmlWriter& /*writer*/, XmlSerializationContext& /*context*/)
{
    throw XmlException("Write operation is not supported.");
}

} // namespace Zel::Host::Service
