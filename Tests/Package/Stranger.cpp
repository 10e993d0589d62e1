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
constexpr std::uint64_t Hour = 3'600'000; // milliseconds

void Require(int result, const char* what)
{
    if (result < 0)
    {
        std::cerr << what << ": " << result << std::endl;
        std::exit(EXIT_FAILURE); // NOLINT(concurrency-mt-unsafe)
    }
}

/// Sends and frees the call and prints the answer.
void Ask(sd_bus* bus, sd_bus_message* call)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result = sd_bus_call(bus, call, 0, &error, nullptr);
    std::cout << (result >= 0 ? "ok" : std::string(error.name) + ": " + error.message) << std::endl;
    sd_bus_error_free(&error);
    sd_bus_message_unref(call);
}

void CallComponent(sd_bus* bus, const std::string& method, const char* bundle)
{
    sd_bus_message* call = nullptr;
    Require(sd_bus_message_new_method_call(bus, &call, Service, "/zel/SoftwareUpdate1/component/ZDC_2d100",
                                           "zel.SoftwareUpdate1.Component", method.c_str()),
            "call");
    if (bundle != nullptr)
    {
        const int file = open(bundle, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        Require(file, "open");
        Require(sd_bus_message_append(call, "ha{sv}", file, 0), "append");
    }
    else if (method == "Install")
    {
        Require(sd_bus_message_append(call, "sa{sv}", "", 1, "delay", "t", Hour), "append");
    }
    Ask(bus, call);
}

void CallRauc(sd_bus* bus, const char* method)
{
    sd_bus_message* call = nullptr;
    Require(sd_bus_message_new_method_call(bus, &call, "de.pengutronix.rauc", "/", nullptr, method), "call");
    Ask(bus, call);
}

void Send(sd_bus* bus, sd_bus_message* signal, const char* destination)
{
    Require(sd_bus_send_to(bus, signal, destination, nullptr), "send");
    sd_bus_message_unref(signal);
}

void Forge(sd_bus* bus, int count)
{
    const char* owner = nullptr;
    sd_bus_message* answer = nullptr;
    Require(sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetNameOwner",
                               nullptr, &answer, "s", Service),
            "GetNameOwner");
    Require(sd_bus_message_read(answer, "s", &owner), "owner");
    for (int i = 0; i < count; ++i)
    {
        const char* destination = i % 2 == 0 ? nullptr : owner;
        const char* path = i % 3 == 0 ? "/other" : "/";
        sd_bus_message* signal = nullptr;
        Require(sd_bus_message_new_signal(bus, &signal, path, "de.pengutronix.rauc.Installer", "Completed"),
                "Completed");
        Require(sd_bus_message_append(signal, "i", i / 2 % 2), "result");
        Send(bus, signal, destination);
        Require(sd_bus_message_new_signal(bus, &signal, path, "org.freedesktop.DBus.Properties",
                                          "PropertiesChanged"),
                "PropertiesChanged");
        Require(sd_bus_message_append(signal, "sa{sv}as", "de.pengutronix.rauc.Installer", 3, "Operation",
                                      "s", "idle", "LastError", "s", "forged", "Progress", "(isi)", 99,
                                      "forged", 1, 0),
                "properties");
        Send(bus, signal, destination);
        if (i % 100 == 0)
        {
            Require(sd_bus_flush(bus), "flush");
        }
    }
    // What was sent before this is with its receivers when the bus has answered.
    Require(sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", nullptr,
                               nullptr, nullptr),
            "GetId");
    sd_bus_message_unref(answer);
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
        CallRauc(bus, arguments[2]);
    }
    else if (count >= 3)
    {
        CallComponent(bus, arguments[2], count > 3 ? arguments[3] : nullptr);
    }
    sd_bus_flush_close_unref(bus);
}
