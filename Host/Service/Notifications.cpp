#include "Service/Notifications.h"

#include <systemd/sd-journal.h>

#include <syslog.h>

#include <map>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Nm::Severity;

namespace
{

int ToPriority(Severity severity)
{
    switch (severity)
    {
    case Severity::Error:
        return LOG_ERR;
    case Severity::Warning:
        return LOG_WARNING;
    case Severity::Information:
        return LOG_NOTICE;
    }
    return LOG_NOTICE;
}

/// The identities by which the journal's catalog explains notifications; they never change.
const std::map<String, String> MessageIds = {
    {"Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Succeeded",
     "512d186bbc54469ab0585299e6ea308f"},
    {"Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.Failed",
     "c472cba14821462ba3c62761833f72f7"},
    {Notifications::Interrupted, "edd210216333464088c6772c955269fb"},
    {Notifications::InstallationFailed, "218395bc16bc44e78fb95abf19680530"},
    {Notifications::RestartNeeded, "cb3f198cb4c74accb237e569358c3283"},
    {Notifications::SlotActivated, "acc9a7d590ff4feaa8d74698dba42482"},
    {Notifications::StoreSetAside, "00ecbdbd8b5e49e480a61140c36ab44a"},
};

void WriteToJournal(const System::Nm::Notification& notification)
{
    std::vector<String> fields = {
        "MESSAGE=" + notification.message,
        "PRIORITY=" + std::to_string(ToPriority(notification.severity)),
        "SYSLOG_IDENTIFIER=" + System::Commons::Diagnostics::Logging::LogManager::GetIdentifier(),
        "ZEL_NOTIFICATION=" + notification.name,
        "ZEL_SENDER=" + notification.sender,
        "ZEL_SEVERITY=" + std::to_string(static_cast<int>(notification.severity)),
        "ZEL_TIME=" + notification.timestamp.ToIso8601String(),
    };
    if (const auto id = MessageIds.find(notification.name); id != MessageIds.end())
    {
        fields.push_back("MESSAGE_ID=" + id->second);
    }
    std::vector<iovec> pieces;
    pieces.reserve(fields.size());
    for (const String& field : fields)
    {
        pieces.push_back({const_cast<char*>(field.data()), field.size()});
    }
    // Without a journal there is nobody to tell; the store and the log have it.
    static_cast<void>(sd_journal_sendv(pieces.data(), static_cast<int>(pieces.size())));
}

} // namespace

Notifications::Notifications(std::shared_ptr<StatusStore> store) : store(std::move(store)) {}

Notifications::~Notifications() = default;

void Notifications::Report(const String& name, const String& message)
{
    Write({name, "zel-updated", Severity::Error, DateTime::GetUtcNow(), message});
}

void Notifications::Write(const System::Nm::Notification& notification)
{
    Log(LogLevel::Info, "Notification {0}: {1}", notification.name, notification.message);
    WriteToJournal(notification);
    try
    {
        store->AddNotification(notification);
    }
    catch (const std::exception& exception)
    {
        // Nothing may keep the module that sends it from ending the installation.
        Log(LogLevel::Error, "A notification is not recorded. {0}", exception.what());
    }
}

} // namespace Zel::Host::Service
