#include "RaucUpdater/Internal/DesktopBus/RaucInfoMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucInfoMethod::RaucInfoMethod(String bundle) : bundle(std::move(bundle)) {}

RaucInfoMethod::~RaucInfoMethod() = default;

bool RaucInfoMethod::ReadFields(const std::vector<DesktopBusField>& fields)
{
    Log(LogLevel::Trace, "Read rauc info arguments.");
    const DesktopBusFieldReader reader(GetLogger(), fields);
    if (fields.empty())
    {
        return reader.Fail("Failed to get fields. Fields: {0}");
    }
    if (!reader.Read(reader.At(0), &DesktopBusField::TryGetString, compatible,
                     "Failed to get arg:compatible. Fields: {0}") ||
        !reader.Read(reader.At(1), &DesktopBusField::TryGetString, version,
                     "Failed to get arg:version. Fields: {0}"))
    {
        return false;
    }
    Log(LogLevel::Debug, "Version={0}; Compatible={1}", version, compatible);
    return true;
}

bool RaucInfoMethod::SendMessageWithReply(const DesktopBusConnection& connection, DesktopBusMessage& reply)
{
    return SendRequest(
        GetLogger(), {"Write info arguments.", "Queue rauc info message.", "Get rauc info reply."},
        DesktopBusManager::CreateRaucMessage(MethodName),
        [this](Arguments& arguments)
        { AddTextArgument(GetLogger(), "Add rauc bundle argument.", bundle, arguments); },
        connection, reply);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
