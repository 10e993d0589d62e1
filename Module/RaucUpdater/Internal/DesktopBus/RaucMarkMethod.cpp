#include "RaucUpdater/Internal/DesktopBus/RaucMarkMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucMarkMethod::RaucMarkMethod(String state, String slotIdentifier)
    : state(std::move(state)), slotIdentifier(std::move(slotIdentifier))
{
}

RaucMarkMethod::~RaucMarkMethod() = default;

bool RaucMarkMethod::ReadFields(const std::vector<DesktopBusField>& fields)
{
    Log(LogLevel::Trace, "Read rauc Mark arguments.");
    const DesktopBusFieldReader reader(GetLogger(), fields);
    if (fields.empty())
    {
        return reader.Fail("Failed to get fields. Fields: {0}");
    }
    if (!reader.Read(reader.At(0), &DesktopBusField::TryGetString, slotName,
                     "Failed to get arg:slotName. Fields: {0}"))
    {
        return false;
    }
    Log(LogLevel::Debug, "slotName={0}", slotName);
    if (!reader.Read(reader.At(1), &DesktopBusField::TryGetString, message,
                     "Failed to get arg:message. Fields: {0}"))
    {
        return false;
    }
    Log(LogLevel::Debug, "message={0}", message);
    return true;
}

bool RaucMarkMethod::SendMessageWithReply(const DesktopBusConnection& connection, DesktopBusMessage& reply)
{
    // The write text is that of "Info", which is meant.
    return SendRequest(
        GetLogger(), {"Write info arguments.", "Queue rauc Mark message.", "Get rauc Mark reply."},
        DesktopBusManager::CreateRaucMessage(MethodName),
        [this](Arguments& arguments)
        {
            AddTextArgument(GetLogger(), "Add rauc state argument.", state, arguments);
            AddTextArgument(GetLogger(), "Add rauc slotIdentifier argument.", slotIdentifier, arguments);
        },
        connection, reply);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
