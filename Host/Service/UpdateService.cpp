#include "Service/UpdateService.h"

#include "Zel/System/Commons/Io/File.h"

#include <systemd/sd-daemon.h>

#include <algorithm>
#include <set>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::File;
using System::Core::Format;

namespace
{

String ReadBootId(const String& path)
{
    constexpr std::uint64_t MaximumSize = 4096; // bytes
    const String text = File::ReadAllText(path, MaximumSize);
    String bootId = text.substr(0, text.find_first_of(" \t\r\n"));
    if (bootId.empty())
    {
        throw Exception(Format("The boot ID file '{0}' is empty.", path));
    }
    return bootId;
}

} // namespace

UpdateService::UpdateService(const ServiceSettings& settings, String version)
    : settings(settings), version(std::move(version)), moduleHost(ProcessName, settings.GetDataFolder()),
      delivery(settings.GetDataFolder() + "/delivery"),
      store(std::make_shared<StatusStore>(settings.GetDataFolder())),
      status(std::make_shared<PersistentUpdaterStatus>(store, ReadBootId(settings.GetBootIdFile()),
                                                       settings.GetConfirmationTimeout(),
                                                       [this](const String& /*componentId*/)
                                                       {
                                                           loop.Post(
                                                               [this]
                                                               {
                                                                   for (const auto& component : components)
                                                                   {
                                                                       component->OnStatusChanged();
                                                                   }
                                                               });
                                                       })),
      notifications(std::make_shared<Notifications>(store)),
      deviceInfo(std::make_shared<DeviceInfoFile>(settings.GetDeviceInfoFile())),
      deviceControl(
          std::make_shared<DeviceControl>(loop, settings.GetRestartCommand(), MakeDeviceHandlers())),
      reconnection(loop, {[this] { Connect(); },
                          [this]
                          {
                              Log(LogLevel::Info, "The system bus is back.");
                              StartComponents();
                          },
                          [this](const String& reason)
                          {
                              Log(LogLevel::Error, "The system bus did not come back within {0} s. {1}",
                                  Reconnection::Patience.count(), reason);
                              loop.Exit(1);
                          }}),
      readyTimer(loop, [this] { NotifyReady(); }), watchdog(loop, [this] { return GetWorkTime(); })
{
    if (!store->GetDamage().empty())
    {
        notifications->Report(Notifications::StoreSetAside, store->GetDamage());
    }
    moduleHost.Register(deviceInfo, deviceControl, notifications);
    CreateComponents();
}

UpdateService::~UpdateService() = default;

DeviceControl::Handlers UpdateService::MakeDeviceHandlers()
{
    return {[this] { OnRestartOrdered(); }, [this](const String& reason) { OnRestartFailed(reason); },
            [this] { AskLogind(); }};
}

void UpdateService::CreateComponents()
{
    const String id = deviceInfo->GetItem(ComponentIdKey).ToString();
    if (id.empty())
    {
        throw Exception(Format("'{0}' does not tell the device's {1}, which is the component's ID. Add the "
                               "line '{1}=NAME' to that file, with the device's name.",
                               settings.GetDeviceInfoFile(), ComponentIdKey));
    }
    for (const ModuleSettings& module : settings.GetModules())
    {
        Log(LogLevel::Info, "{0} {1} serves '{2}' by the module '{3}'.", ProcessName, version, id,
            module.name);
        components.push_back(std::make_unique<Component>(id, MakeEnvironment(module)));
    }
}

ComponentEnvironment UpdateService::MakeEnvironment(const ModuleSettings& module)
{
    return {loop,
            delivery,
            status,
            [this, &module] { return moduleHost.Create(module); },
            module.settings,
            [this](RaucAnswerHandler handler) { Probe(std::move(handler)); },
            [this](const String& path, InspectionFacts facts, BundleInspector::Handler handler)
            { Inspect(path, std::move(facts), std::move(handler)); },
            [this] { deviceControl->RestartDevice(); },
            [this](const RequestResult& result) { OnComponentStarted(result); },
            [this](const String& reason) { OnStartDelayed(reason); },
            [this](const String& text) { notifications->Report(Notifications::Interrupted, text); },
            [this](const String& text) { notifications->Report(Notifications::InstallationFailed, text); },
            [this] { CheckSlots(); }};
}

int UpdateService::Run()
{
    loop.OnEndSignals(
        [this]
        {
            Log(LogLevel::Info, "Ending.");
            loop.Exit(0);
        });
    Connect();
    readyTimer.Arm(ReadyTime);
    StartComponents();
    const int code = loop.Run();
    ShutDown();
    return code;
}

void UpdateService::Connect()
{
    session = std::make_unique<BusSession>(loop, settings.GetRestartCommand().empty(),
                                           BusSession::Handlers{[this] { OnBusLost(); },
                                                                [this](bool owned)
                                                                {
                                                                    for (const auto& component : components)
                                                                    {
                                                                        component->OnRaucOwnerChanged(owned);
                                                                    }
                                                                },
                                                                [this](const String& slot)
                                                                { OnSlotActivated(slot); }});
}

void UpdateService::StartComponents()
{
    for (const auto& component : components)
    {
        component->Start();
    }
}

void UpdateService::OnComponentStarted(const RequestResult& result)
{
    if (!result.IsOk())
    {
        Log(LogLevel::Error, "A module could not be initialized. {0}", result.text);
        loop.Exit(1);
        return;
    }
    const bool allStarted = std::all_of(components.begin(), components.end(),
                                        [](const auto& component) { return component->HasStarted(); });
    if (allStarted && session)
    {
        Publish();
        NotifyReady();
        CheckSlots();
    }
}

void UpdateService::OnStartDelayed(const String& reason)
{
    if (session && !session->api)
    {
        Log(LogLevel::Info, "The start of a module is delayed. {0}", reason);
        Publish();
    }
}

void UpdateService::NotifyReady()
{
    readyTimer.Disarm();
    // Without a manager that wants to know this does nothing.
    static_cast<void>(sd_notify(0, "READY=1"));
}

void UpdateService::Publish()
{
    if (session->api)
    {
        return;
    }
    BusApi::Content content{version, status->GetBootId(), {}, {}, settings.GetAdministratorGroup()};
    for (const ModuleSettings& module : settings.GetModules())
    {
        content.modules.push_back(module.name);
    }
    for (const auto& component : components)
    {
        content.components.push_back(component.get());
    }
    try
    {
        session->api = std::make_unique<BusApi>(session->connection, std::move(content));
        Log(LogLevel::Info, "Serving as '{0}'.", Api::BusName);
    }
    catch (const Exception& exception)
    {
        Log(LogLevel::Error, "The service cannot be offered. {0}", exception.GetMessage());
        loop.Exit(1);
    }
}

void UpdateService::OnBusLost()
{
    session.reset();
    if (LeaveIfInstalling())
    {
        return;
    }
    Log(LogLevel::Warning, "The system bus is gone. The modules are stopped until it is back.");
    reconnection.Stop();
    for (const auto& component : components)
    {
        component->Drop([this] { OnComponentDropped(); });
    }
}

bool UpdateService::IsInstalling() const
{
    return std::any_of(components.begin(), components.end(),
                       [](const auto& component) { return component->IsInstalling(); });
}

bool UpdateService::LeaveIfInstalling()
{
    const bool installing = IsInstalling();
    if (installing)
    {
        Log(LogLevel::Error,
            "The system bus is gone during an installation. Its state is kept; the service ends, "
            "and decides about it when it is started again.");
        loop.Exit(1);
    }
    return installing;
}

void UpdateService::Probe(RaucAnswerHandler handler)
{
    if (!session)
    {
        handler({});
        return;
    }
    session->raucWatch.Probe(
        [this, handler = std::move(handler)](const RaucAnswer& answer)
        {
            status->SetBootSlot(answer.bootSlot);
            handler(answer);
        });
}

void UpdateService::Inspect(const String& path, InspectionFacts facts, BundleInspector::Handler handler)
{
    facts.restartObstacle = deviceControl->FindObstacle();
    if (!session)
    {
        handler(facts);
        return;
    }
    session->inspector.Inspect(path, std::move(facts), std::move(handler));
}

void UpdateService::OnSlotActivated(const String& slot)
{
    const bool hasFailed = std::any_of(components.begin(), components.end(),
                                       [](const auto& component)
                                       {
                                           const Verdict& verdict = component->GetSnapshot().lastVerdict;
                                           return verdict.result == Api::Result::Failed;
                                       });
    notifications->Report(
        Notifications::SlotActivated,
        Format("RAUC has the slot '{0}' booted next although no installation is running. {1} 'rauc status "
               "mark-active booted' keeps the running slot.",
               slot,
               hasFailed ? "The last installation, which has failed, may have left it so."
                         : "Look at RAUC's log for who did that."));
}

void UpdateService::CheckSlots()
{
    if (session && !IsInstalling())
    {
        session->slotAlarm.Check();
    }
}

void UpdateService::OnRestartOrdered()
{
    for (const auto& component : components)
    {
        status->AddRestart(component->GetId());
    }
}

std::chrono::milliseconds UpdateService::GetWorkTime() const
{
    std::chrono::milliseconds longest{0};
    for (const auto& component : components)
    {
        longest = std::max(longest, component->GetWorkTime());
    }
    return longest;
}

void UpdateService::OnComponentDropped()
{
    const bool allStopped = std::all_of(components.begin(), components.end(),
                                        [](const auto& component) { return component->IsStopped(); });
    // A request that was under way may have begun an installation before its module was destroyed.
    if (allStopped && !LeaveIfInstalling())
    {
        reconnection.Begin();
    }
}

void UpdateService::AskLogind()
{
    if (!session)
    {
        deviceControl->ReportFailure("The system bus is gone.");
        return;
    }
    session->logind.Reboot(
        [this](const String& obstacle)
        {
            if (!obstacle.empty())
            {
                deviceControl->ReportFailure(obstacle);
            }
        });
}

void UpdateService::OnRestartFailed(const String& reason)
{
    for (const auto& component : components)
    {
        component->OnRestartFailed(reason);
    }
    notifications->Report(Notifications::RestartNeeded,
                          Format("The device could not be restarted; restart it by hand. {0}", reason));
}

void UpdateService::ShutDown()
{
    static_cast<void>(sd_notify(0, "STOPPING=1"));
    for (const auto& component : components)
    {
        component->Stop();
    }
    // A restart that a module ordered at the last moment is still asked for.
    loop.RunPosted();
    session.reset();
}

} // namespace Zel::Host::Service
