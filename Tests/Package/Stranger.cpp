#include <systemd/sd-bus.h>

#include <fcntl.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

/// Somebody else on the device's bus, with the rights of whoever starts this program.
///   stranger call METHOD [BUNDLE]  calls the component; prints "ok", or the error's name and text
///   stranger rauc METHOD           calls RAUC, without an interface's name, and prints the same
///   stranger forge COUNT           sends so many signals of each kind in RAUC's name, everybody and the
///   service in turn
namespace
{

constexpr const char* Service = "zel.SoftwareUpdate1";
constexpr const char* Rauc = "de.pengutronix.rauc.Installer";
constexpr std::uint64_t Hour = 3'600'000; // milliseconds

void Require(int result, const char* what)
{
    if (result < 0)
    {
        std::cerr << what << ": " << result << std::endl;
        std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe)
    }
}

/// Calls and prints the answer.
template <typename... Arguments>
void Call(sd_bus* bus, const char* service, const char* path, const char* interfaceName, const char* method,
          const char* types = "", Arguments... arguments)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result =
        sd_bus_call_method(bus, service, path, interfaceName, method, &error, nullptr, types, arguments...);
    std::cout << (result >= 0 ? "ok" : std::string(error.name) + ": " + error.message) << std::endl;
    sd_bus_error_free(&error);
}

void CallComponent(sd_bus* bus, const std::string& method, const char* bundle)
{
    const auto call = [&](auto... arguments)
    {
        Call(bus, Service, "/zel/SoftwareUpdate1/component/ZDC_2d100", "zel.SoftwareUpdate1.Component",
             method.c_str(), arguments...);
    };
    if (bundle != nullptr)
    {
        const int file = open(bundle, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        Require(file, "open");
        call("ha{sv}", file, 0);
    }
    else
    {
        method == "Install" ? call("sa{sv}", "", 1, "delay", "t", Hour) : call();
    }
}

/// Sends a signal in RAUC's name to everybody, or to the service alone.
template <typename... Values>
void Emit(sd_bus* bus, bool toAll, const char* path, const char* interfaceName, const char* member,
          const char* types, Values... values)
{
    sd_bus_message* signal = nullptr;
    Require(sd_bus_message_new_signal(bus, &signal, path, interfaceName, member), member);
    Require(sd_bus_message_append(signal, types, values...), member);
    Require(sd_bus_send_to(bus, signal, toAll ? nullptr : Service, nullptr), member);
    sd_bus_message_unref(signal);
}

void Forge(sd_bus* bus, int count)
{
    for (int i = 0; i < count; ++i)
    {
        const char* path = i % 3 == 0 ? "/other" : "/";
        Emit(bus, i % 2 == 0, path, Rauc, "Completed", "i", i / 2 % 2);
        Emit(bus, i % 2 == 0, path, "org.freedesktop.DBus.Properties", "PropertiesChanged", "sa{sv}as", Rauc,
             3, "Operation", "s", "idle", "LastError", "s", "forged", "Progress", "(isi)", 99, "forged", 1,
             0);
        if (i % 100 == 0)
        {
            Require(sd_bus_flush(bus), "flush");
        }
    }
    // What was sent before this is with its receivers when the bus has answered.
    Require(sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr,
                               nullptr, nullptr),
            "GetId");
}

} // namespace

int main(int count, char** arguments)
{
    sd_bus* bus = nullptr;
    Require(sd_bus_open_system(&bus), "bus");
    if (count == 3 && std::string(arguments[1]) == "forge")
    {
        Forge(bus, std::stoi(arguments[2]));
    }
    else if (count == 3 && std::string(arguments[1]) == "rauc")
    {
        Call(bus, "de.pengutronix.rauc", "/", nullptr, arguments[2]);
    }
    else if (count >= 3)
    {
        CallComponent(bus, arguments[2], count > 3 ? arguments[3] : nullptr);
    }
    sd_bus_flush_close_unref(bus);
}
