#pragma once

#include "Support/BusPeer.h"

#include "Zel/String.h"

#include <nlohmann/json.hpp>

#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace Zel::Tests::Support
{

/// The update service's bus interface by a script, without anything behind it, on a thread of its own. Its
/// types are those of the interface's description; a call of other types is refused.
class ScriptedUpdateService
{
public:
    using Json = nlohmann::json;
    using Step = std::function<void(ScriptedUpdateService& service, const BusMessage& call)>;
    using Script = std::vector<Step>;

    /// Owns the service's name on the process's bus, with one component. Throws `Exception`.
    ScriptedUpdateService();

    /// Sets the IDs of the components.
    void SetIds(std::vector<String> values) { ids = std::move(values); }

    /// What is done for each call of a method, which is refused as unknown without it; for "GetAll", after
    /// the next answer about a component's properties.
    void On(const String& member, const Script& script);

    /// \name Steps of scripts.
    ///@{
    /// Answers with the method's outputs.
    static Step Answers(const std::vector<Json>& outputs = {});
    /// Refuses with an error, of the service where it has no dot.
    static Step Refuses(const String& name, const String& text);

    /// Sets and announces properties.
    static Step Changes(const Json& changes)
    {
        return [=](auto& service, auto&) { service.Change(changes); };
    }

    /// Leaves the bus, as a service does whose device restarts.
    static Step Vanishes()
    {
        return [](auto& service, auto&) { service.SetPresent(false); };
    }

    /// Is back, with properties that changed meanwhile.
    static Step Appears(const Json& changes)
    {
        return [=](auto& service, auto&) { service.Appear(changes); };
    }

    static Step Then(const Script& script)
    {
        return [=](auto& service, auto&) { service.On("GetAll", script); };
    }

    ///@}

    /// The calls of components with their arguments, reading properties aside, in order; since the last time.
    /// A descriptor is the beginning of its file's content.
    [[nodiscard]] std::vector<String> TakeCalls();

    /// Sets properties of every component and announces them of the first, with `valueless` without their
    /// values.
    void Change(const Json& changes, bool valueless = false);

    /// Announces properties to the last caller alone, as a stranger would: from another connection.
    void Forge(const Json& forged);

    /// Takes or leaves its name on the bus.
    void SetPresent(bool value);
    void Appear(const Json& changes);

private:
    void OnMessage(const BusMessage& message);
    [[nodiscard]] Json GetProperties(const String& path) const;
    [[nodiscard]] Script Record(const BusMessage& call);
    [[nodiscard]] String GetType(const String& name, std::size_t index = 0) const;
    void Write(BusWriter& writer, const String& signature, const Json& value) const;
    [[nodiscard]] BusMessage NewChange(const Json& changes, const Json& names) const;

    std::vector<String> ids = {"Controller 750"};
    /// The types of the description, by the names of values, and of methods with "in" and "out".
    const std::map<String, std::vector<String>> types;
    std::recursive_mutex mutex;
    Json properties;
    std::map<String, Script> scripts;
    std::vector<String> calls;
    String lastCaller;
    bool present = true;
    BusPeer peer;
};

} // namespace Zel::Tests::Support
