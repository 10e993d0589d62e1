#pragma once

#include "Service/Authorizer.h"
#include "Service/BusConnection.h"
#include "Service/BusSlot.h"
#include "Service/ComponentObject.h"

#include "Zel/String.h"

#include <memory>
#include <vector>

namespace Zel::Host::Service
{

/// The service on the bus, as zel.SoftwareUpdate1.xml describes it: a translation between D-Bus and the
/// components, without decisions of its own. Used on the loop's thread.
class BusApi
{
public:
    /// What is published; it all outlives the API.
    struct Content
    {
        String version;
        /// The present boot's identity.
        String bootId;
        std::vector<String> modules;
        std::vector<Component*> components;
        /// The group whose members may change something where there is no polkit; empty for none.
        String group;
    };

    /// Publishes the objects and owns the name; throws `Exception` where that fails.
    BusApi(BusConnection& connection, Content content);
    /// Takes the objects back.
    ~BusApi();
    BusApi(const BusApi&) = delete;
    BusApi& operator=(const BusApi&) = delete;

private:
    const Content content;
    Authorizer authorizer;
    BusSlot managerSlot;
    std::vector<std::unique_ptr<ComponentObject>> objects;
};

} // namespace Zel::Host::Service
