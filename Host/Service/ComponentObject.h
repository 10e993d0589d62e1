#pragma once

#include "Service/Authorizer.h"
#include "Service/BusConnection.h"
#include "Service/BusSlot.h"
#include "Service/Component.h"

#include "Zel/String.h"

namespace Zel::Host::Service
{

/// A component on the bus: its methods, which `Authorizer` allows, its properties and its signals.
class ComponentObject
{
public:
    /// Publishes the component; throws `Exception` where that fails. What is given outlives the object.
    ComponentObject(BusConnection& connection, Component& component, Authorizer& authorizer, String bootId);
    /// Takes it back.
    ~ComponentObject();
    ComponentObject(const ComponentObject&) = delete;
    ComponentObject& operator=(const ComponentObject&) = delete;

    /// Returns the object path of a component.
    [[nodiscard]] static String GetPath(const String& componentId);

    [[nodiscard]] Component& GetComponent() const noexcept { return component; }

    [[nodiscard]] Authorizer& GetAuthorizer() const noexcept { return authorizer; }

    [[nodiscard]] const String& GetBootId() const noexcept { return bootId; }

private:
    void Announce(const std::vector<String>& properties) const;
    void TellVerdict(const Verdict& verdict) const;

    BusConnection& connection;
    Component& component;
    Authorizer& authorizer;
    const String bootId;
    const String path;
    BusSlot slot;
};

} // namespace Zel::Host::Service
