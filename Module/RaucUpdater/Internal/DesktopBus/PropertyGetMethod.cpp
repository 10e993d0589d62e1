#include "RaucUpdater/Internal/DesktopBus/PropertyGetMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

PropertyGetMethod::PropertyGetMethod(String destination, String objectPath, String interfaceName,
                                     String propertyName)
    : destination(std::move(destination)), objectPath(std::move(objectPath)),
      interfaceName(std::move(interfaceName)), propertyName(std::move(propertyName))
{
}

PropertyGetMethod::PropertyGetMethod(String propertyName)
    : PropertyGetMethod(DesktopBusManager::DesktopBusDestinationRauc,
                        DesktopBusManager::DesktopBusObjectPathRauc,
                        DesktopBusManager::DesktopBusInterfaceRauc, std::move(propertyName))
{
}

PropertyGetMethod::~PropertyGetMethod() = default;

bool PropertyGetMethod::SendMessageWithReply(const DesktopBusConnection& connection, DesktopBusMessage& reply)
{
    return SendRequest(
        GetLogger(), {"Write property get arguments.", "Queue property message.", "Get property reply."},
        DesktopBusMessage(destination, objectPath, DesktopBusManager::DesktopBusInterfaceProperties,
                          MethodName),
        [this](Arguments& arguments)
        {
            AddTextArgument(GetLogger(), "Add property get interface argument.", interfaceName, arguments);
            AddTextArgument(GetLogger(), "Add property get name argument.", propertyName, arguments);
        },
        connection, reply);
}

const DesktopBusField* PropertyGetMethod::EnterVariant(const DesktopBusFieldReader& reader)
{
    const auto* property = reader.At(0);
    const auto* content = property != nullptr ? property->PeekVariant() : nullptr;
    if (content == nullptr)
    {
        reader.Fail("Failed to enter variant. Fields: {0}");
    }
    return content;
}

bool PropertyGetMethod::ReadTextProperty(const Logger& logger, const std::vector<DesktopBusField>& fields,
                                         String& text, SuccessText successText, FailureText failureText)
{
    const DesktopBusFieldReader reader(logger, fields);
    const auto* content = EnterVariant(reader);
    if (content == nullptr || !reader.Read(content, &DesktopBusField::TryGetString, text, failureText))
    {
        return false;
    }
    logger.Log(LogLevel::Debug, successText, std::as_const(text));
    return true;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
