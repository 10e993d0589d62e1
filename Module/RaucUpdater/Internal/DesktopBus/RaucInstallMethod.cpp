#include "RaucUpdater/Internal/DesktopBus/RaucInstallMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

RaucInstallMethod::RaucInstallMethod(String bundle) : bundle(std::move(bundle)) {}

RaucInstallMethod::~RaucInstallMethod() = default;

bool RaucInstallMethod::ReadFields(const std::vector<DesktopBusField>& /*fields*/)
{
    return true;
}

bool RaucInstallMethod::SendMessageWithReply(const DesktopBusConnection& connection, DesktopBusMessage& reply)
{
    // The write text is that of "Info", which is meant.
    return SendRequest(
        GetLogger(), {"Write info arguments.", "Queue rauc install message.", "Get rauc install reply."},
        DesktopBusManager::CreateRaucMessage(MethodName),
        [this](Arguments& arguments)
        { AddTextArgument(GetLogger(), "Add rauc bundle argument.", bundle, arguments); },
        connection, reply);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
