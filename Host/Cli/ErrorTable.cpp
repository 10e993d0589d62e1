#include "Cli/ErrorTable.h"

#include <algorithm>
#include <array>

namespace Zel::Host::Cli
{

namespace
{

constexpr std::string_view SeeLog = "'journalctl -u zel-updated' shows the log.";
constexpr std::string_view SeeStatus = "'zelupdate status' shows what is going on and what can be done.";
constexpr std::string_view SeeVersions = "'zelupdate versions' shows what can be installed.";
constexpr std::string_view StartService = "Start it ('systemctl start zel-updated'), then call again.";
constexpr std::string_view StartBus = "Start the system bus (dbus.service), then call again.";
constexpr std::string_view CallAgain = "Call again in a moment; 'zelupdate status' shows what is going on.";
constexpr std::string_view AskForRights = "Call as root, or as a user who may update this device.";
constexpr std::string_view SeeRights = "'man zel-updated' tells who may do what.";
constexpr std::string_view OtherRelease = "Use the zelupdate that was installed with the service.";

constexpr ErrorRow PlainFailure = {"", ExitCode::Failed, "failed", SeeLog};

constexpr std::array Rows = {
    ErrorRow{"zel.SoftwareUpdate1.Error.GeneralError", ExitCode::Failed,
             "something unexpected went wrong in the updater module", SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.OperationFailed", ExitCode::Failed, "RAUC or a file operation failed",
             SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.OutOfMemory", ExitCode::TryLater, "there is no room for the bundle",
             "Make room on the data partition; 'zelupdate versions' shows what is pending still."},
    ErrorRow{"zel.SoftwareUpdate1.Error.AlreadyReverted", ExitCode::Done,
             "the last installation was taken back already", SeeVersions},
    ErrorRow{"zel.SoftwareUpdate1.Error.NotSupported", ExitCode::Failed,
             "this device's updater cannot do that", SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.NotFound", ExitCode::NotFound, "there is no such version",
             SeeVersions},
    ErrorRow{"zel.SoftwareUpdate1.Error.BootedSlotUnavailable", ExitCode::Failed,
             "it is not known which slot the device runs from", SeeLog},
    ErrorRow{"zel.SoftwareUpdate1.Error.InvalidArgument", ExitCode::BundleRejected,
             "the bundle or a value is refused",
             "Nothing was changed; 'zelupdate versions' shows what is pending."},
    ErrorRow{"zel.SoftwareUpdate1.Error.InvalidState", ExitCode::TryLater,
             "an installation runs, or the last one has failed", SeeStatus},
    ErrorRow{"zel.SoftwareUpdate1.Error.Busy", ExitCode::TryLater, "another request is under way", CallAgain},
    ErrorRow{"zel.SoftwareUpdate1.Error.TryLater", ExitCode::TryLater,
             "RAUC is absent, busy or does not answer, or the service is starting", CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.AccessDenied", ExitCode::NotAllowed,
             "the caller has no right to do this", SeeRights},
    ErrorRow{"org.freedesktop.DBus.Error.AuthFailed", ExitCode::NotAllowed,
             "the bus does not take the caller", AskForRights},
    ErrorRow{"org.freedesktop.DBus.Error.InteractiveAuthorizationRequired", ExitCode::NotAllowed,
             "a password has to be given first", AskForRights},
    ErrorRow{"org.freedesktop.DBus.Error.Disconnected", ExitCode::ServiceUnreachable,
             "the connection to the bus was lost",
             "'zelupdate status' tells how things stand once the bus is back."},
    ErrorRow{"org.freedesktop.DBus.Error.FileNotFound", ExitCode::ServiceUnreachable, "the bus has no socket",
             StartBus},
    ErrorRow{"org.freedesktop.DBus.Error.NoServer", ExitCode::ServiceUnreachable,
             "the bus does not take the connection", StartBus},
    ErrorRow{"org.freedesktop.DBus.Error.ServiceUnknown", ExitCode::ServiceUnreachable,
             "the service does not run", StartService},
    ErrorRow{"org.freedesktop.DBus.Error.NameHasNoOwner", ExitCode::ServiceUnreachable,
             "the service does not run any more", StartService},
    ErrorRow{"org.freedesktop.DBus.Error.Spawn.", ExitCode::ServiceUnreachable,
             "the bus could not start the service", StartService},
    ErrorRow{"org.freedesktop.DBus.Error.NoReply", ExitCode::ServiceUnreachable,
             "the service ended before it answered", CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.Timeout", ExitCode::ServiceUnreachable,
             "the service does not answer", CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.TimedOut", ExitCode::ServiceUnreachable,
             "the service does not answer", CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.LimitsExceeded", ExitCode::TryLater,
             "the bus or the service has too much to do", CallAgain},
    ErrorRow{"org.freedesktop.DBus.Error.InvalidSignature", ExitCode::Failed,
             "the service's answer has an unknown form", OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownObject", ExitCode::NotFound, "the component is gone",
             "'zelupdate components' shows it again when the service has it."},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownInterface", ExitCode::Failed,
             "the service lacks what was called", OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownMethod", ExitCode::Failed,
             "the service lacks what was called", OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.UnknownProperty", ExitCode::Failed,
             "the service lacks what was called", OtherRelease},
    ErrorRow{"org.freedesktop.DBus.Error.InvalidArgs", ExitCode::Failed,
             "the service does not know an option", OtherRelease},
};

bool IsFor(const ErrorRow& row, std::string_view busErrorName)
{
    return row.name.ends_with('.') ? busErrorName.starts_with(row.name) : busErrorName == row.name;
}

} // namespace

std::span<const ErrorRow> ErrorTable::GetRows() noexcept
{
    return Rows;
}

const ErrorRow& ErrorTable::Find(std::string_view busErrorName) noexcept
{
    const auto* const row =
        std::find_if(Rows.begin(), Rows.end(),
                     [busErrorName](const ErrorRow& candidate) { return IsFor(candidate, busErrorName); });
    return row != Rows.end() ? *row : PlainFailure;
}

} // namespace Zel::Host::Cli
