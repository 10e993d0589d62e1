#include "Service/BusApi.h"

#include "Service/BusConnection.h"

#include "Support/ComponentFixture.h"
#include "Support/PrivateBus.h"

#include <systemd/sd-bus.h>

#include <iterator>
#include <regex>
#include <sstream>
#include <thread>

namespace Zel::Host::Service
{

using namespace testing;

namespace
{

using Bus = std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)>;

Bus Connect()
{
    sd_bus* bus = nullptr;
    EXPECT_GE(sd_bus_open_system(&bus), 0);
    return {bus, sd_bus_flush_close_unref};
}

/// Calls a method. Returns the first text of the answer, or "NAME: text" of the error.
template <typename... Arguments>
[[nodiscard]] String Call(const Bus& bus, const String& path, const char* interfaceName, const char* member,
                          const char* types, Arguments... arguments)
{
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* answer = nullptr;
    const char* text = "";
    const int result = sd_bus_call_method(bus.get(), "zel.SoftwareUpdate1", path.c_str(), interfaceName,
                                          member, &error, &answer, types, arguments...);
    if (result >= 0)
    {
        // A property comes as a variant.
        sd_bus_message_read(answer, "s", &text) > 0 ? 0 : sd_bus_message_read(answer, "v", "s", &text);
    }
    String value = result >= 0 ? String(text) : String(error.name) + ": " + error.message;
    sd_bus_message_unref(answer);
    sd_bus_error_free(&error);
    return value;
}

/// What a description offers, a line each with the interface, the method or the like and the attributes,
/// sorted.
std::set<String> Describe(const String& document)
{
    static const std::regex Tag(R"re(<(interface|method|signal|property|arg)\s([^>]*?)/?>)re");
    static const std::regex Name("name=\"([^\"]+)\"");
    String interfaceName;
    String member;
    std::set<String> lines;
    for (std::sregex_iterator tag(document.begin(), document.end(), Tag), end; tag != end; ++tag)
    {
        std::smatch name;
        const String text = (*tag)[2];
        EXPECT_TRUE(std::regex_search(text, name, Name)) << text;
        interfaceName = (*tag)[1] == "interface" ? name[1].str() : interfaceName;
        member = (*tag)[1] == "arg" ? member : name[1].str();
        std::istringstream stream(text);
        std::set<String> words{std::istream_iterator<std::string>(stream), {}};
        lines.insert(Join({interfaceName, member, (*tag)[1], Join({words.begin(), words.end()}, " ")}, " "));
    }
    std::erase_if(lines, [](const String& line) { return !line.starts_with("zel.SoftwareUpdate1"); });
    return lines;
}

} // namespace

/// A component that is published by a loop on a thread of its own.
class BusApiTest : public ComponentFixture
{
protected:
    BusApiTest()
    {
        EXPECT_TRUE(Start().IsOk());
        server = std::jthread([this] { loop.Run(); });
    }

    ~BusApiTest() override
    {
        loop.Post([this] { loop.Exit(0); });
        server.join();
        component.Stop();
    }

    template <typename... Arguments>
    [[nodiscard]] String Ask(const char* member, const char* types, Arguments... arguments)
    {
        return Call(bus, path, "zel.SoftwareUpdate1.Component", member, types, arguments...);
    }

    [[nodiscard]] String GetState(const Bus& client) const
    {
        return Call(client, path, "org.freedesktop.DBus.Properties", "Get", "ss",
                    "zel.SoftwareUpdate1.Component", "State");
    }

    [[nodiscard]] String Introspect(const String& object) const
    {
        return Call(bus, object, "org.freedesktop.DBus.Introspectable", "Introspect", "");
    }

    Tests::Support::PrivateBus& privateBus = Tests::Support::PrivateBus::OfProcess();
    const String path = "/zel/SoftwareUpdate1/component/Controller_20750";
    BusConnection connection{loop, {}};
    BusApi api{connection, {"0.1.0", "boot", {"Fake"}, {&component}, ""}};
    Bus bus = Connect();
    std::jthread server;
};

TEST_F(BusApiTest, TheObjectsAreAsTheirDescriptionSays)
{
    std::set<String> offered = Describe(Introspect(path));
    offered.merge(Describe(Introspect(BusApi::ManagerPath)));
    EXPECT_EQ(offered, Describe(Tests::Support::TemporaryFolder::Read(ZEL_BUS_DESCRIPTION)));
    EXPECT_GT(offered.size(), 20);
}

TEST_F(BusApiTest, ABundleIsStagedByItsDescriptor)
{
    String staged;
    script->stage = [&](const String& file, auto&)
    {
        staged = Tests::Support::TemporaryFolder::Read(file);
        script->SetVersion(FileType::Pending, "2.0.0.0");
        return ResultCode::Ok;
    };
    EXPECT_EQ(Ask("Stage", "ha{sv}", OpenBundle().Get(), 0), "2.0.0.0");
    EXPECT_EQ(staged, "content");
    // The worker lets go of its copy a moment after the answer.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!IsDeliveryEmpty() && std::chrono::steady_clock::now() < deadline)
    {
    }
    EXPECT_TRUE(IsDeliveryEmpty());
}

TEST_F(BusApiTest, RefusalsHaveNamesAndReasons)
{
    const auto directory = FileDescriptor::Open(folder.GetPath(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(Ask("Stage", "ha{sv}", directory.Get(), 0),
              "zel.SoftwareUpdate1.Error.InvalidArgument: The bundle is a directory, not a regular file.");
    EXPECT_EQ(Ask("Stage", "ha{sv}", directory.Get(), 1, "force", "b", 1),
              "org.freedesktop.DBus.Error.InvalidArgs: The option 'force' is not known.");
    EXPECT_THAT(Ask("Install", "sa{sv}", "", 0),
                HasSubstr("zel.SoftwareUpdate1.Error.NotFound: There is no pending"));
    EXPECT_THAT(Ask("Install", "sa{sv}", "", 1, "fallback", "b", 1),
                HasSubstr("zel.SoftwareUpdate1.Error.NotFound: There is no fallback"));
    EXPECT_EQ(Ask("Install", "sa{sv}", "", 1, "delay", "s", "soon"),
              "org.freedesktop.DBus.Error.InvalidArgs: The option 'delay' has to be of type t.");
    EXPECT_THAT(Ask("Resume", ""), HasSubstr("zel.SoftwareUpdate1.Error.InvalidState: "));
    EXPECT_THAT(Ask("Install", "s", ""), HasSubstr("org.freedesktop.DBus.Error.InvalidArgs: "));
}

TEST_F(BusApiTest, AChangeIsAnnouncedWithItsValue)
{
    script->SetVersion(FileType::Pending, "2.0.0.0");
    script->install = [](IUpdaterStatus& given, const String& revision, long long delay)
    {
        EXPECT_EQ(revision, "2.0.0.0");
        EXPECT_EQ(delay, 60000);
        return Begin(given, revision, delay);
    };
    String announced;
    const auto receive = [](sd_bus_message* message, void* text, sd_bus_error* /*error*/)
    {
        const char* name = "";
        const char* value = "";
        sd_bus_message_skip(message, "s");
        sd_bus_message_enter_container(message, 'a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            sd_bus_message_read(message, "s", &name);
            String(name) == "State" ? sd_bus_message_read(message, "v", "s", &value)
                                    : sd_bus_message_skip(message, "v");
            sd_bus_message_exit_container(message);
        }
        *static_cast<String*>(text) += value;
        return 0;
    };
    ASSERT_GE(sd_bus_match_signal(bus.get(), nullptr, BusApi::BusName.c_str(), path.c_str(),
                                  "org.freedesktop.DBus.Properties", "PropertiesChanged", receive,
                                  &announced),
              0);
    EXPECT_EQ(Ask("Install", "sa{sv}", "", 1, "delay", "t", std::uint64_t{60000}), "");
    EXPECT_EQ(GetState(bus), "installing");
    for (int round = 0; announced.empty() && round < 1000; ++round)
    {
        constexpr std::uint64_t Step = 10000; // microseconds
        sd_bus_process(bus.get(), nullptr) == 0 ? sd_bus_wait(bus.get(), Step) : 0;
    }
    EXPECT_EQ(announced, "installing");
}

TEST_F(BusApiTest, FiftyClientsReadWhileAnInstallationGoesOn)
{
    ASSERT_TRUE(status->BeginInstallation(Id, true));
    // The daemon lets a connection go that does not say hello for half a minute.
    ASSERT_NE(GetState(bus), "");
    std::atomic<bool> isEnding = false;
    std::atomic<int> failures = 0;
    std::vector<std::jthread> clients;
    const auto read = [&]
    {
        const Bus client = Connect();
        while (!isEnding)
        {
            const String state = GetState(client);
            failures += state == "idle" || state == "installing" ? 0 : 1;
        }
    };
    std::generate_n(std::back_inserter(clients), 50, [&] { return std::jthread(read); });
    // A longer look than the default second: ZEL_READERS_SECONDS=30.
    const char* const seconds = std::getenv("ZEL_READERS_SECONDS");
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::seconds(seconds ? std::stoi(seconds) : 1);
    for (int percentage = 0; std::chrono::steady_clock::now() < end; percentage = (percentage + 1) % 100)
    {
        status->SetMessage(Id, "Copying image", false);
        status->SetProgress(Id, percentage);
    }
    isEnding = true;
    clients.clear();
    EXPECT_EQ(failures, 0);
    status->EndInstallation(Id, true);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (GetState(bus) != "idle" && std::chrono::steady_clock::now() < deadline)
    {
    }
    EXPECT_EQ(GetState(bus), "idle");
}

} // namespace Zel::Host::Service
