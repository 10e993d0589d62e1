#pragma once

#include "Service/BusConnection.h"
#include "Service/Component.h"

#include "Zel/String.h"

#include <memory>
#include <vector>

namespace Zel::Host::Service
{

/// The service on the bus, as zel.SoftwareUpdate1.xml describes it: a translation between D-Bus and the
/// components, without decisions of its own but who may call. Used on the loop's thread.
class BusApi
{
public:
    inline static const String BusName = "zel.SoftwareUpdate1";
    inline static const String ManagerPath = "/zel/SoftwareUpdate1";
    inline static const String ComponentPrefix = "/zel/SoftwareUpdate1/component";
    inline static const String ManagerInterface = "zel.SoftwareUpdate1.Manager";
    inline static const String ComponentInterface = "zel.SoftwareUpdate1.Component";
    inline static const String ErrorPrefix = "zel.SoftwareUpdate1.Error.";

    /// What is published; it all outlives the API.
    struct Content
    {
        String version;
        /// The present boot's identity.
        String bootId;
        std::vector<String> modules;
        std::vector<Component*> components;
    };

    /// Publishes the objects and owns the name; throws `Exception` where that fails.
    BusApi(BusConnection& connection, Content content);
    /// Takes the objects back.
    ~BusApi();
    BusApi(const BusApi&) = delete;
    BusApi& operator=(const BusApi&) = delete;

    /// Returns the object path of a component.
    [[nodiscard]] static String GetPath(const String& componentId);

    /// One published component.
    struct Published
    {
        Component* component;
        String path;
        String bootId;
    };

private:
    struct Unreference
    {
        void operator()(sd_bus_slot* slot) const noexcept;
    };

    using Slot = std::unique_ptr<sd_bus_slot, Unreference>;

    void PublishManager();
    void Publish(Component& component);

    BusConnection& connection;
    const Content content;
    std::vector<std::unique_ptr<Published>> published;
    std::vector<Slot> slots;
};

} // namespace Zel::Host::Service
