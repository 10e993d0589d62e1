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
    using Script = std::vector<Json>;

    /// Owns the service's name on the process's bus, with one component. Throws `Exception`.
    ScriptedUpdateService();

    /// Sets the IDs of the components.
    void SetIds(std::vector<String> values) { ids = std::move(values); }

    /// What is done for each call of a method, which is refused as unknown without it; for "GetAll", after
    /// the next answer about a component's properties.
    void On(const String& member, const Script& script);

    /// Steps of scripts: answers with the method's outputs; refuses with an error (of the service where it
    /// has no dot); sets and announces properties; leaves the bus, as a service does whose device restarts;
    /// is back, with properties that changed meanwhile.
    static Json Answers(const std::vector<Json>& outputs = {}) { return {{"answer", outputs}}; }

    static Json Refuses(const String& name, const String& text) { return {{"refuse", {name, text}}}; }

    static Json Changes(const Json& changes) { return {{"change", changes}}; }

    static Json Vanishes() { return {{"vanish", true}}; }

    static Json Then(const Script& script) { return {{"then", script}}; }

    static Json Appears(const Json& changes) { return {{"appear", changes}}; }

    /// The calls of components with their arguments, reading properties aside, in order; since the last time.
    /// A descriptor is the beginning of its file's content.
    [[nodiscard]] std::vector<String> TakeCalls();

    /// Sets properties of every component and announces them of the first, with `valueless` without their
    /// values.
    void Change(const Json& changes, bool valueless = false);

    /// Announces properties to the last caller alone, as a stranger would: from another connection.
    void Forge(const Json& forged);

    void Vanish();
    void Appear();

private:
    void OnMessage(const BusMessage& message);
    void AnswerGetAll(const BusMessage& call);
    void Carry(const BusMessage& call);
    void Follow(const Script& script, const BusMessage& call);
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
