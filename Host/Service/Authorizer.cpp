#include "Service/Authorizer.h"

#include "Zel/System/Core/Format.h"

#include <grp.h>
#include <pwd.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <utility>
#include <vector>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::LogLevel;
using System::Core::Format;

namespace
{

constexpr std::chrono::seconds AnswerTime{10};
/// Somebody types a password.
constexpr std::chrono::minutes InteractiveTime{5};
/// Bytes of an entry of the user database: where to begin, and what no group's list of members needs.
constexpr std::size_t BufferSize = std::size_t{16} * 1024;
constexpr std::size_t MaximumBufferSize = std::size_t{16} * 1024 * 1024;

/// Calls `look`, which gets the memory for an entry and returns an errno, with as much as the entry takes.
/// Returns the last errno. The entry's texts lie in `buffer`.
template <typename Look>
int LookUp(std::vector<char>& buffer, const Look& look)
{
    buffer.resize(BufferSize);
    int result = look(buffer);
    while (result == ERANGE && buffer.size() < MaximumBufferSize)
    {
        buffer.resize(buffer.size() * 2);
        result = look(buffer);
    }
    return result;
}

/// The ID of a group, or nothing that a user could have.
gid_t FindGroup(const String& name)
{
    std::vector<char> buffer;
    group entry{};
    group* found = nullptr;
    const int result =
        LookUp(buffer, [&](std::vector<char>& memory)
               { return getgrnam_r(name.c_str(), &entry, memory.data(), memory.size(), &found); });
    return result == 0 && found != nullptr ? found->gr_gid : static_cast<gid_t>(-1);
}

std::vector<gid_t> FindGroups(uid_t user)
{
    std::vector<char> buffer;
    passwd entry{};
    passwd* found = nullptr;
    const int result = LookUp(buffer, [&](std::vector<char>& memory)
                              { return getpwuid_r(user, &entry, memory.data(), memory.size(), &found); });
    if (result != 0 || found == nullptr)
    {
        return {};
    }
    std::vector<gid_t> groups(256);
    auto count = static_cast<int>(groups.size());
    if (getgrouplist(found->pw_name, found->pw_gid, groups.data(), &count) < 0)
    {
        groups.resize(static_cast<std::size_t>(count));
        static_cast<void>(getgrouplist(found->pw_name, found->pw_gid, groups.data(), &count));
    }
    groups.resize(static_cast<std::size_t>(std::max(count, 0)));
    return groups;
}

/// Whether an answer means that there is no polkit.
bool IsAbsent(const BusAnswer& answer)
{
    return answer.errorName == SD_BUS_ERROR_SERVICE_UNKNOWN ||
           answer.errorName == SD_BUS_ERROR_NAME_HAS_NO_OWNER ||
           answer.errorName.starts_with("org.freedesktop.DBus.Error.Spawn.");
}

} // namespace

Authorizer::Authorizer(BusConnection& connection, String group)
    : connection(connection), group(std::move(group))
{
}

void Authorizer::Check(const Caller& caller, const String& action, const Handler& handler)
{
    if (caller.user == 0 || caller.user == geteuid())
    {
        handler("");
        return;
    }
    const auto write = [caller, id = ActionPrefix + action](sd_bus_message* call)
    {
        return sd_bus_message_append(call, "(sa{sv})sa{ss}us", "system-bus-name", 1, "name", "s",
                                     caller.name.c_str(), id.c_str(), 0, caller.interactive ? 1 : 0, "");
    };
    connection.Call({"org.freedesktop.PolicyKit1", "/org/freedesktop/PolicyKit1/Authority",
                     "org.freedesktop.PolicyKit1.Authority", "CheckAuthorization",
                     caller.interactive ? std::chrono::microseconds(InteractiveTime) : AnswerTime, write},
                    [this, caller, action, handler](const BusAnswer& answer)
                    {
                        const String refusal = Judge(answer, caller, action);
                        if (!refusal.empty())
                        {
                            Log(LogLevel::Warning, "User {0} (process {1}) was refused '{2}'. {3}",
                                caller.user, caller.process, action, refusal);
                        }
                        handler(refusal);
                    });
}

String Authorizer::Judge(const BusAnswer& answer, const Caller& caller, const String& action) const
{
    int isAuthorized = 0;
    int isChallenge = 0;
    if (answer.IsOk() && sd_bus_message_enter_container(answer.message, SD_BUS_TYPE_STRUCT, "bba{ss}") > 0 &&
        sd_bus_message_read(answer.message, "bb", &isAuthorized, &isChallenge) > 0)
    {
        return isAuthorized != 0
                   ? String()
                   : Format("polkit does not allow user {0} the action '{1}{2}'. {3}", caller.user,
                            ActionPrefix, action,
                            isChallenge != 0 ? "Call as root, or from a session with a polkit agent "
                                               "that asks for a password."
                                             : "Ask for a polkit rule, or call as root.");
    }
    if (!IsAbsent(answer))
    {
        Log(LogLevel::Error, "polkit could not be asked: {0}", answer.text);
        return "polkit could not be asked whether this is allowed. Call as root.";
    }
    return IsMember(caller.user)
               ? String()
               : Format("User {0} may not have this done. Call as root, or {1}.", caller.user,
                        group.empty() ? "name a group that may in the service's settings (AdministratorGroup)"
                                      : "as a member of the group '" + group + "'");
}

bool Authorizer::IsMember(uid_t user) const
{
    if (group.empty())
    {
        return false;
    }
    const std::vector<gid_t> groups = FindGroups(user);
    return std::find(groups.begin(), groups.end(), FindGroup(group)) != groups.end();
}

} // namespace Zel::Host::Service
