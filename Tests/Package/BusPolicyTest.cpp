#include <systemd/sd-bus.h>

#include <gmock/gmock.h>

#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

/// On a bus with the installed policies: what reaches the service, and who may have RAUC do something.
namespace
{

using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* Rauc = "de.pengutronix.rauc";

uid_t UserOf(const char* variable)
{
    const char* number = std::getenv(variable); // NOLINT(concurrency-mt-unsafe)
    return number != nullptr ? static_cast<uid_t>(std::stoul(number)) : 0;
}

/// A connection of one user, with the messages that reached it.
class Peer
{
public:
    explicit Peer(uid_t user)
    {
        // The bus asks the kernel who connected.
        EXPECT_EQ(seteuid(user), 0);
        EXPECT_GE(sd_bus_open_system(&bus), 0);
        EXPECT_EQ(seteuid(0), 0);
        sd_bus_add_filter(bus, nullptr, &Peer::OnMessage, this);
        EXPECT_GE(sd_bus_add_match(bus, nullptr, "type='signal'", nullptr, nullptr), 0);
    }

    ~Peer() { sd_bus_flush_close_unref(bus); }

    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    bool Own(const char* name) { return sd_bus_request_name(bus, name, 0) >= 0; }

    std::string GetUniqueName() const
    {
        const char* name = nullptr;
        EXPECT_GE(sd_bus_get_unique_name(bus, &name), 0);
        return name;
    }

    /// Returns when the bus has passed the message on.
    void Signal(const std::string& destination, const char* path, const char* interface, const char* member)
    {
        sd_bus_message* signal = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(bus, &signal, path, interface, member), 0);
        ASSERT_GE(sd_bus_message_append(signal, "i", 0), 0);
        ASSERT_GE(sd_bus_send_to(bus, signal, destination.empty() ? nullptr : destination.c_str(), nullptr),
                  0);
        sd_bus_message_unref(signal);
        AskBus();
    }

    /// As `Signal`; the answer is not waited for.
    void Call(const char* interface, const char* member)
    {
        ASSERT_GE(
            sd_bus_call_method_async(bus, nullptr, Rauc, "/", interface, member, nullptr, nullptr, nullptr),
            0);
        AskBus();
    }

    /// Returns what has reached this connection since the last time, without what the bus itself says.
    std::vector<std::string> Take()
    {
        AskBus();
        while (sd_bus_process(bus, nullptr) > 0)
        {
        }
        return std::move(received);
    }

private:
    static int OnMessage(sd_bus_message* message, void* object, sd_bus_error* /*error*/)
    {
        if (std::string(sd_bus_message_get_sender(message)) != "org.freedesktop.DBus")
        {
            static_cast<Peer*>(object)->received.push_back(std::string(sd_bus_message_get_path(message)) +
                                                           " " + sd_bus_message_get_member(message));
        }
        return 0;
    }

    /// What was sent before this is with its receivers when the bus has answered.
    void AskBus()
    {
        EXPECT_GE(sd_bus_call_method(bus, "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId",
                                     nullptr, nullptr, nullptr),
                  0);
    }

    sd_bus* bus = nullptr;
    std::vector<std::string> received;
};

class BusPolicyTest : public testing::Test
{
protected:
    BusPolicyTest() { EXPECT_TRUE(rauc.Own(Rauc)); }

    /// Sends the signals that the service believes in, to everybody and to the service, on RAUC's path and
    /// another.
    std::vector<std::string> SendSignals(Peer& sender)
    {
        std::vector<std::string> sent;
        for (const char* path : {"/", "/other"})
        {
            for (const std::string& destination : {std::string(), service.GetUniqueName()})
            {
                sender.Signal(destination, path, "de.pengutronix.rauc.Installer", "Completed");
                sender.Signal(destination, path, "org.freedesktop.DBus.Properties", "PropertiesChanged");
                sent.push_back(std::string(path) + " Completed");
                sent.push_back(std::string(path) + " PropertiesChanged");
            }
        }
        return sent;
    }

    Peer rauc{0};
    Peer root{0};
    Peer service{UserOf("ZEL_SERVICE_USER")};
    Peer stranger{UserOf("ZEL_STRANGER")};
};

} // namespace

TEST_F(BusPolicyTest, OnlyRaucsOwnSignalsReachTheService)
{
    SendSignals(stranger);
    EXPECT_THAT(service.Take(), IsEmpty());
    const std::vector<std::string> sent = SendSignals(rauc);
    EXPECT_THAT(service.Take(), ElementsAreArray(sent));
}

TEST_F(BusPolicyTest, StrangersMayReadRaucsPropertiesAndNothingElse)
{
    const struct
    {
        const char* interface;
        const char* member;
        bool isOpen;
    } rows[] = {
        {"de.pengutronix.rauc.Installer", "InstallBundle", false},
        {"de.pengutronix.rauc.Installer", "Install", false},
        {"de.pengutronix.rauc.Installer", "Mark", false},
        {"de.pengutronix.rauc.Installer", "Info", false},
        {"org.freedesktop.DBus.Properties", "Set", false},
        {nullptr, "InstallBundle", false},
        {"org.freedesktop.DBus.Properties", "Get", true},
        {"org.freedesktop.DBus.Properties", "GetAll", true},
        {"org.freedesktop.DBus.Introspectable", "Introspect", true},
        {"org.freedesktop.DBus.Peer", "Ping", true},
    };

    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.member);
        stranger.Call(row.interface, row.member);
        EXPECT_EQ(rauc.Take().size(), row.isOpen ? 1 : 0);
        service.Call(row.interface, row.member);
        root.Call(row.interface, row.member);
        EXPECT_EQ(rauc.Take().size(), 2);
    }
}

TEST_F(BusPolicyTest, OnlyTheServiceOwnsItsName)
{
    EXPECT_FALSE(stranger.Own("zel.SoftwareUpdate1"));
    EXPECT_TRUE(service.Own("zel.SoftwareUpdate1"));
}
