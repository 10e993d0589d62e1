#pragma once

#include "Cli/ComponentState.h"

#include "Zel/String.h"

#include <poll.h>

#include <functional>
#include <map>
#include <memory>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace Zel::Tests::Support
{

/// The update service's bus interface by a script, without anything behind it. Served by the test's own
/// thread: nothing happens outside of `Serve`.
class ScriptedUpdateService
{
public:
    using ComponentState = Host::Cli::ComponentState;
    /// Answers a call of a component, with `Reply` or `Refuse`, or not at all.
    using Handler = std::function<void(sd_bus_message& call)>;

    /// Owns the service's name on the process's system bus, with components of these IDs. Throws `Exception`.
    explicit ScriptedUpdateService(const std::vector<String>& ids = {"Controller 750"});
    ~ScriptedUpdateService();
    ScriptedUpdateService(const ScriptedUpdateService&) = delete;
    ScriptedUpdateService& operator=(const ScriptedUpdateService&) = delete;

    /// The state of every component. Change it before the program runs, or by `Change`.
    ComponentState state;

    /// What is done for the calls of a method, which are refused as unknown without it.
    void On(const String& member, Handler handler);

    /// The methods of components that were called, reading aside, in order.
    [[nodiscard]] const std::vector<String>& GetCalls() const noexcept { return calls; }

    void Reply(sd_bus_message& call);
    void ReplyText(sd_bus_message& call, const String& text);
    /// `name` lacks the prefix of the service's errors.
    void Refuse(sd_bus_message& call, const String& name, const String& text);

    /// Changes the state and announces the properties named.
    void Change(const std::vector<String>& properties,
                const std::function<void(ComponentState& state)>& change);

    /// Announces them without their values.
    void Invalidate(const std::vector<String>& properties);

    /// Announces the state "failed" and a message to `receiver` alone, as a stranger would: from another
    /// connection. Returns when the bus has passed it on.
    void Forge(const String& receiver) const;

    /// Leaves the bus, as a service does whose device restarts.
    void Vanish();

    [[nodiscard]] pollfd GetPollDescriptor() const;
    void Serve();

private:
    struct Deleter
    {
        void operator()(sd_bus* bus) const noexcept;
    };

    using Bus = std::unique_ptr<sd_bus, Deleter>;

    [[nodiscard]] static Bus Open();
    void Answer(sd_bus_message& call);
    void AnswerGetAll(sd_bus_message& call);
    [[nodiscard]] String GetPath(std::size_t index) const;

    std::vector<String> ids;
    std::map<String, Handler> handlers;
    std::vector<String> calls;
    Bus bus;
};

} // namespace Zel::Tests::Support
