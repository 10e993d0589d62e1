#include "Rows/Rows.h"

#include "Comparison.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "RaucUpdater/Internal/DesktopBus/RaucCompatibleProperty.h"
#include "Rows/PropertyPeer.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <dbus/dbus.h>
#include <gio/gio.h>

#include <memory>

namespace Zel::Benchmarks
{

using namespace Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus;
using System::Core::Format;

namespace
{

constexpr int CallsOfRound = 20;
constexpr int RoundsOfCalls = 150;

void Require(bool isRight, const char* way)
{
    if (!isRight)
    {
        throw Exception(String("The call by ") + way + " failed");
    }
}

/// The blocking call as libdbus offers it, on a connection of its own.
class LibdbusCall
{
public:
    LibdbusCall() : connection(dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr), &Close)
    {
        Require(connection != nullptr, "libdbus");
    }

    void operator()()
    {
        const Message call(dbus_message_new_method_call("de.pengutronix.rauc", "/",
                                                        "org.freedesktop.DBus.Properties", "Get"),
                           &dbus_message_unref);
        const char* interfaceName = "de.pengutronix.rauc.Installer";
        const char* propertyName = "Compatible";
        dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &interfaceName, DBUS_TYPE_STRING,
                                 &propertyName, DBUS_TYPE_INVALID);
        const Message reply(
            dbus_connection_send_with_reply_and_block(connection.get(), call.get(), -1, nullptr),
            &dbus_message_unref);
        Require(reply != nullptr && ReadText(reply.get()) == PropertyPeer::PropertyText, "libdbus");
    }

private:
    using Message = std::unique_ptr<DBusMessage, void (*)(DBusMessage*)>;

    static void Close(DBusConnection* connection)
    {
        dbus_connection_close(connection);
        dbus_connection_unref(connection);
    }

    [[nodiscard]] static String ReadText(DBusMessage* reply)
    {
        DBusMessageIter arguments;
        DBusMessageIter content;
        dbus_message_iter_init(reply, &arguments);
        dbus_message_iter_recurse(&arguments, &content);
        const char* text = nullptr;
        dbus_message_iter_get_basic(&content, &text);
        return text;
    }

    std::unique_ptr<DBusConnection, void (*)(DBusConnection*)> connection;
};

/// The blocking call of GDBus.
class GdbusCall
{
public:
    GdbusCall() : connection(g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr), &g_object_unref)
    {
        Require(connection != nullptr, "GDBus");
    }

    void operator()()
    {
        GVariant* const reply = g_dbus_connection_call_sync(
            connection.get(), "de.pengutronix.rauc", "/", "org.freedesktop.DBus.Properties", "Get",
            g_variant_new("(ss)", "de.pengutronix.rauc.Installer", "Compatible"), G_VARIANT_TYPE("(v)"),
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
        Require(reply != nullptr, "GDBus");
        GVariant* content = nullptr;
        g_variant_get(reply, "(v)", &content);
        const String text = g_variant_get_string(content, nullptr);
        g_variant_unref(content);
        g_variant_unref(reply);
        Require(text == PropertyPeer::PropertyText, "GDBus");
    }

private:
    std::unique_ptr<GDBusConnection, void (*)(gpointer)> connection;
};

template <typename Call>
void Repeat(Call& call)
{
    for (int count = 0; count < CallsOfRound; ++count)
    {
        call();
    }
}

} // namespace

Results MeasureCall(const String& row, const Effort& effort)
{
    const PropertyPeer peer;
    DesktopBusConnection connection;
    Require(connection.Open(), "the module");
    LibdbusCall libdbusCall;
    GdbusCall gdbusCall;
    const auto ownCall = [&connection]
    {
        RaucCompatibleProperty property;
        Require(property.SendMessage(connection, true) &&
                    property.GetCompatible() == PropertyPeer::PropertyText,
                "the module");
    };
    // Where the system lets the peers run changes what a call takes by half, from one moment to the next:
    // short rounds, and many of them, meet it alike.
    Effort shortRounds = effort;
    shortRounds.rounds *= RoundsOfCalls;
    const auto medians = CompareElapsedTime({{"own", [&] { Repeat(ownCall); }},
                                             {"libdbus", [&] { Repeat(libdbusCall); }},
                                             {"GDBus", [&] { Repeat(gdbusCall); }}},
                                            shortRounds);
    const double microseconds = CallsOfRound * 1000.0;
    return {AtMostTimes(row, "own / libdbus", medians[0] / medians[1], 1.1),
            Below(row, "own / GDBus", medians[0] / medians[2]),
            Shown(row, "own, libdbus, GDBus",
                  Format("{0:.0f}, {1:.0f}, {2:.0f} us", medians[0] / microseconds, medians[1] / microseconds,
                         medians[2] / microseconds))};
}

} // namespace Zel::Benchmarks
