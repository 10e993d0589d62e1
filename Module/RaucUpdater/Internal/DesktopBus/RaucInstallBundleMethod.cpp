#include "RaucUpdater/Internal/DesktopBus/RaucInstallBundleMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

RaucInstallBundleMethod::RaucInstallBundleMethod(String bundle, bool ignoreCompatible)
    : bundle(std::move(bundle)), ignoreCompatible(ignoreCompatible)
{
}

RaucInstallBundleMethod::~RaucInstallBundleMethod() = default;

bool RaucInstallBundleMethod::ReadFields(const std::vector<DesktopBusField>& /*fields*/)
{
    return true;
}

bool RaucInstallBundleMethod::SendMessageWithReply(const DesktopBusConnection& connection,
                                                   DesktopBusMessage& reply)
{
    return SendRequest(
        GetLogger(),
        {"Write installBundle arguments.", "Queue rauc installBundle message.",
         "Get rauc installBundle reply."},
        DesktopBusManager::CreateRaucMessage(MethodName),
        [this](Arguments& arguments) { AddArguments(arguments); }, connection, reply);
}

void RaucInstallBundleMethod::AddArguments(Arguments& arguments) const
{
    AddTextArgument(GetLogger(), "Add rauc installBundle argument.", bundle, arguments);
    Log(LogLevel::Trace, "Add array.");
    Log(LogLevel::Trace, "Add dict.");
    Log(LogLevel::Trace, "Add ignore-compatible.");
    Arguments entries(1);
    AddIgnoreCompatibleArgument(entries.front());
    arguments.emplace_back().SetArray(std::move(entries), "{sv}");
}

void RaucInstallBundleMethod::AddIgnoreCompatibleArgument(DesktopBusField& entry) const
{
    Log(LogLevel::Trace, "Add dict key of type string.");
    Arguments keyAndValue(2);
    keyAndValue[0].SetString("ignore-compatible");
    Log(LogLevel::Trace, "Add variant.");
    Log(LogLevel::Trace, "Add ignore-compatible value.");
    DesktopBusField flag;
    flag.SetBoolean(ignoreCompatible);
    keyAndValue[1].SetVariant(std::move(flag), "b");
    entry.SetDictEntry(std::move(keyAndValue));
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
