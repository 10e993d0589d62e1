#include "RaucUpdater/Internal/DesktopBus/RaucGetPrimaryMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucGetPrimaryMethod::RaucGetPrimaryMethod() = default;

RaucGetPrimaryMethod::~RaucGetPrimaryMethod() = default;

bool RaucGetPrimaryMethod::ReadFields(const std::vector<DesktopBusField>& fields)
{
    const DesktopBusFieldReader reader(GetLogger(), fields);
    if (fields.empty())
    {
        return reader.Fail("There are not any fields. Fields: {0}");
    }
    Log(LogLevel::Trace, "Read rauc GetPrimary arguments.");
    if (!reader.Read(reader.At(0), &DesktopBusField::TryGetString, primary,
                     "Failed to get GetPrimary. Fields: {0}"))
    {
        return false;
    }
    Log(LogLevel::Debug, "primary={0}", primary);
    return true;
}

bool RaucGetPrimaryMethod::SendMessageWithReply(const DesktopBusConnection& connection,
                                                DesktopBusMessage& reply)
{
    return SendRequest(GetLogger(), {nullptr, "Queue rauc GetPrimary message.", "Get rauc GetPrimary reply."},
                       DesktopBusManager::CreateRaucMessage(MethodName), nullptr, connection, reply);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
