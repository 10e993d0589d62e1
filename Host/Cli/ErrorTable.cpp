#include "Cli/ErrorTable.h"

#include <algorithm>
#include <array>

namespace Zel::Host::Cli
{

namespace
{

constexpr std::string_view SeeLog = "'journalctl -u zel-updated' shows the log.";
constexpr std::string_view SeeStatus =
    "'zelupdate status' shows what is going on; after a failed installation 'zelupdate resume' comes first.";
constexpr std::string_view SeeVersions = "'zelupdate versions' shows what can be installed.";
constexpr std::string_view StartService = "Start it ('systemctl start zel-updated'), then call again.";
constexpr std::string_view CallAgain = "Call again in a moment; 'zelupdate status' shows what is going on.";
constexpr std::string_view AskForRights = "Call as root, or as a user who may update this device.";
constexpr std::string_view OtherRelease = "Use the zelupdate that was installed with the service.";

constexpr ErrorRow PlainFailure = {"", ExitCode::Failed, SeeLog};

constexpr std::array Rows = {
    ErrorRow{"zel.SoftwareUpdate1.Error.GeneralError", ExitCode::Failed, SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.OperationFailed", ExitCode::Failed, SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.OutOfMemory", ExitCode::TryLater,
             "'zelupdate versions' shows what is pending still."},
    ErrorRow{"zel.SoftwareUpdate1.Error.AlreadyReverted", ExitCode::Done, SeeVersions},
    ErrorRow{"zel.SoftwareUpdate1.Error.NotSupported", ExitCode::Failed, SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.NotFound", ExitCode::NotFound, SeeVersions},
    ErrorRow{"zel.SoftwareUpdate1.Error.BootedSlotUnavailable", ExitCode::Failed, SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.InvalidArgument", ExitCode::BundleRejected,
             "Nothing was changed; 'zelupdate versions' shows what is pending."},
    ErrorRow{"zel.SoftwareUpdate1.Error.InvalidState", ExitCode::TryLater, SeeStatus},
    ErrorRow{"zel.SoftwareUpdate1.Error.Busy", ExitCode::TryLater, CallAgain},
    ErrorRow{"zel.SoftwareUpdate1.Error.TryLater", ExitCode::TryLater, CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.AccessDenied", ExitCode::NotAllowed, AskForRights},
    ErrorRow{"org.freedesktop.DBus.Error.AuthFailed", ExitCode::NotAllowed, AskForRights},
    ErrorRow{"org.freedesktop.DBus.Error.InteractiveAuthorizationRequired", ExitCode::NotAllowed,
             AskForRights},
    ErrorRow{"org.freedesktop.DBus.Error.Disconnected", ExitCode::ServiceUnreachable,
             "'zelupdate status' tells how things stand once the bus is back."},
    ErrorRow{"org.freedesktop.DBus.Error.FileNotFound", ExitCode::ServiceUnreachable,
             "Start the system bus (dbus.service), then call again."},
    ErrorRow{"org.freedesktop.DBus.Error.NoServer", ExitCode::ServiceUnreachable,
             "Start the system bus (dbus.service), then call again."},
    ErrorRow{"org.freedesktop.DBus.Error.ServiceUnknown", ExitCode::ServiceUnreachable, StartService},
    ErrorRow{"org.freedesktop.DBus.Error.NameHasNoOwner", ExitCode::ServiceUnreachable, StartService},
    ErrorRow{"org.freedesktop.DBus.Error.Spawn.", ExitCode::ServiceUnreachable, StartService},
    ErrorRow{"org.freedesktop.DBus.Error.NoReply", ExitCode::ServiceUnreachable, CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.Timeout", ExitCode::ServiceUnreachable, CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.TimedOut", ExitCode::ServiceUnreachable, CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.LimitsExceeded", ExitCode::TryLater, CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.InvalidSignature", ExitCode::Failed, OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownObject", ExitCode::NotFound,
             "'zelupdate status' shows the component again when the service has it."},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownInterface", ExitCode::Failed, OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownMethod", ExitCode::Failed, OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownProperty", ExitCode::Failed, OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.InvalidArgs", ExitCode::Failed, OtherRelease},
};

bool IsFor(const ErrorRow& row, std::string_view busErrorName)
{
    return row.name.ends_with('.') ? busErrorName.starts_with(row.name) : busErrorName == row.name;
}

} // namespace

const ErrorRow& ErrorTable::Find(std::string_view busErrorName) noexcept
{
    const auto* const row =
        std::find_if(Rows.begin(), Rows.end(),
                     [busErrorName](const ErrorRow& candidate) { return IsFor(candidate, busErrorName); });
    return row != Rows.end() ? *row : PlainFailure;
}

} // namespace Zel::Host::Cli
