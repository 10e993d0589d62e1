#pragma once

#include "Service/BusConnection.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <sys/types.h>

#include <functional>

namespace Zel::Host::Service
{

/// Decides who may have something done: root and the user that the service runs as; whom polkit allows it,
/// where there is a polkit; else the members of a group. That holds for what changes nothing, too, where it
/// keeps others out meanwhile. A refusal is logged as a warning. Used on the loop's thread.
class Authorizer : private System::Commons::Diagnostics::Logging::Loggable<Authorizer>
{
public:
    /// What the actions' names begin with; a method's name in lower case follows.
    inline static const String ActionPrefix = "zel.softwareupdate1.";

    struct Caller
    {
        /// The connection's unique name.
        String name;
        uid_t user = 0;
        /// 0 where it is not known.
        pid_t process = 0;
        /// Whether the caller waits for somebody to authenticate.
        bool interactive = false;
    };

    /// Gets the reason of a refusal; empty where the caller may. Called once, maybe at once.
    using Handler = std::function<void(const String& refusal)>;

    /// `group` may be empty for none. The connection outlives the authorizer.
    Authorizer(BusConnection& connection, String group);

    void Check(const Caller& caller, const String& action, const Handler& handler);

private:
    /// Returns why `caller` may not; empty where that is allowed.
    [[nodiscard]] String Judge(const BusAnswer& answer, const Caller& caller, const String& action) const;
    [[nodiscard]] bool IsMember(uid_t user) const;

    BusConnection& connection;
    const String group;
};

} // namespace Zel::Host::Service
