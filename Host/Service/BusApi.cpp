#include "Service/BusApi.h"

#include "Api/SoftwareUpdate1.h"
#include "Service/BusProperty.h"
#include "Service/SystemCall.h"

#include <utility>

namespace Zel::Host::Service
{

namespace
{

int AppendVersion(sd_bus_message* reply, void* object)
{
    return sd_bus_message_append(reply, "s", static_cast<BusApi::Content*>(object)->version.c_str());
}

int AppendModules(sd_bus_message* reply, void* object)
{
    int result = sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "s");
    for (const String& name : static_cast<BusApi::Content*>(object)->modules)
    {
        result = result < 0 ? result : sd_bus_message_append(reply, "s", name.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

int AppendComponents(sd_bus_message* reply, void* object)
{
    int result = sd_bus_message_open_container(reply, SD_BUS_TYPE_ARRAY, "o");
    for (const Component* component : static_cast<BusApi::Content*>(object)->components)
    {
        const String path = ComponentObject::GetPath(component->GetId());
        result = result < 0 ? result : sd_bus_message_append(reply, "o", path.c_str());
    }
    return result < 0 ? result : sd_bus_message_close_container(reply);
}

constexpr std::uint64_t Emits = SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE;

const sd_bus_vtable ManagerTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_PROPERTY("Version", "s", GetBusProperty<AppendVersion>, 0, Emits),
    SD_BUS_PROPERTY("Modules", "as", GetBusProperty<AppendModules>, 0, Emits),
    SD_BUS_PROPERTY("Components", "ao", GetBusProperty<AppendComponents>, 0, Emits),
    SD_BUS_VTABLE_END,
};

} // namespace

BusApi::BusApi(BusConnection& connection, Content content)
    : content(std::move(content)), authorizer(connection, this->content.group)
{
    sd_bus_slot* slot = nullptr;
    CheckSystemCall(sd_bus_add_object_vtable(connection.Get(), &slot, Api::ManagerPath.c_str(),
                                             Api::ManagerInterface.c_str(), ManagerTable,
                                             const_cast<Content*>(&this->content)),
                    "publish the manager");
    managerSlot.reset(slot);
    for (Component* component : this->content.components)
    {
        objects.push_back(
            std::make_unique<ComponentObject>(connection, *component, authorizer, this->content.bootId));
    }
    connection.RequestName(Api::BusName);
    // Nobody would know the signal's sender before.
    for (Component* const component : this->content.components)
    {
        component->GetView().TellEarlierVerdict();
    }
}

BusApi::~BusApi() = default;

} // namespace Zel::Host::Service
