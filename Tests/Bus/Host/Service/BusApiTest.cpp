#include "Service/BusApi.h"

#include "Service/Clock.h"

#include "Zel/System/Commons/Io/File.h"
#include "Zel/System/Commons/Xml/XmlReader.h"

#include "Support/FakeUpdaterModule.h"
#include "Support/PrivateBus.h"
#include "Support/TemporaryFolder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <future>
#include <set>
#include <thread>

namespace Zel::Host::Service
{

using System::Commons::Io::File;
using System::Commons::Xml::XmlReader;
using testing::HasSubstr;
using Tests::Support::FakeUpdaterModule;
using Tests::Support::ModuleScript;
using Tests::Support::PrivateBus;
using Tests::Support::TemporaryFolder;

namespace
{

const String Id = "Controller 750";

using FileType = ModuleScript::FileType;

/// A component with a fake module, published by a loop on a thread of its own.
class PublishedComponent
{
public:
    PublishedComponent()
    {
        std::promise<void> published;
        thread = std::thread([&] { Run(published); });
        published.get_future().get();
    }

    ~PublishedComponent()
    {
        loop->Post([this] { loop->Exit(0); });
        thread.join();
    }

    PublishedComponent(const PublishedComponent&) = delete;
    PublishedComponent& operator=(const PublishedComponent&) = delete;

    const std::shared_ptr<ModuleScript> script = std::make_shared<ModuleScript>();
    std::shared_ptr<PersistentUpdaterStatus> status;

private:
    void Run(std::promise<void>& published)
    {
        EventLoop ownLoop;
        loop = &ownLoop;
        Delivery delivery(folder / "delivery");
        Component* target = nullptr;
        status = std::make_shared<PersistentUpdaterStatus>(
            std::make_shared<StatusStore>(folder / "state"), "boot", 0,
            [&](const String& /*componentId*/) { ownLoop.Post([&] { target->OnStatusChanged(); }); });
        std::unique_ptr<BusApi> api;
        BusConnection connection(ownLoop, {});
        const auto publish = [&](const RequestResult& /*result*/)
        {
            api = std::make_unique<BusApi>(connection,
                                           BusApi::Content{"0.1.0", "boot", {"Fake"}, {target}, ""});
            published.set_value();
        };
        Component component(
            Id, {ownLoop,
                 delivery,
                 status,
                 [this] { return std::make_unique<FakeUpdaterModule>(script); },
                 "settings.xml",
                 [](const RaucAnswerHandler& handler) {
                     handler({RaucState::Resting, "", ""});
                 },
                 [](const String& /*path*/, InspectionFacts facts, const BundleInspector::Handler& handler)
                 {
                     facts.bundle = RaucBundle{"2.0.0.0", "Controller"};
                     handler(facts);
                 },
                 {},
                 publish,
                 {},
                 {}});
        target = &component;
        component.Start();
        ownLoop.Run();
        component.Stop();
        api.reset();
    }

    const TemporaryFolder folder;
    EventLoop* loop = nullptr;
    std::thread thread;
};

class BusApiTest : public testing::Test
{
protected:
    BusApiTest()
    {
        sd_bus* opened = nullptr;
        EXPECT_GE(sd_bus_open_system(&opened), 0);
        bus.reset(opened);
    }

    /// Calls a method of the component. Returns the first text of the answer, or "NAME: text" of the error.
    template <typename... Arguments>
    [[nodiscard]] String Call(const char* member, const char* types, Arguments... arguments)
    {
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* answer = nullptr;
        const int result = sd_bus_call_method(bus.get(), BusApi::BusName.c_str(), path.c_str(),
                                              ComponentObject::Interface.c_str(), member, &error, &answer,
                                              types, arguments...);
        const char* text = "";
        if (result >= 0)
        {
            sd_bus_message_read(answer, "s", &text);
        }
        const String value = result >= 0 ? String(text) : String(error.name) + ": " + error.message;
        sd_bus_message_unref(answer);
        sd_bus_error_free(&error);
        return value;
    }

    [[nodiscard]] String Introspect(const String& object)
    {
        sd_bus_message* answer = nullptr;
        EXPECT_GE(sd_bus_call_method(bus.get(), BusApi::BusName.c_str(), object.c_str(),
                                     "org.freedesktop.DBus.Introspectable", "Introspect", nullptr, &answer,
                                     ""),
                  0);
        const char* text = "";
        EXPECT_GE(sd_bus_message_read(answer, "s", &text), 0);
        const String document = text;
        sd_bus_message_unref(answer);
        return document;
    }

    [[nodiscard]] static bool WaitFor(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition() && std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::yield();
        }
        return condition();
    }

    [[nodiscard]] String GetState()
    {
        char* text = nullptr;
        EXPECT_GE(sd_bus_get_property_string(bus.get(), BusApi::BusName.c_str(), path.c_str(),
                                             ComponentObject::Interface.c_str(), "State", nullptr, &text),
                  0);
        const std::unique_ptr<char, decltype(&std::free)> owner(text, std::free);
        return text;
    }

    PrivateBus& privateBus = PrivateBus::OfProcess();
    const String path = "/zel/SoftwareUpdate1/component/Controller_20750";
    const TemporaryFolder folder;
    PublishedComponent service;
    std::unique_ptr<sd_bus, decltype(&sd_bus_flush_close_unref)> bus{nullptr, sd_bus_flush_close_unref};
};

/// Adds what the current element of a description offers, a line each.
void Collect(XmlReader& reader, const String& prefix, std::set<String>& lines)
{
    String element;
    while (reader.TryReadStartElement(element, true))
    {
        std::vector<String> values = {prefix, element};
        for (const char* attribute : {"name", "type", "direction", "access"})
        {
            String value;
            values.push_back(reader.TryGetAttributeValue(attribute, value) ? value : "");
        }
        const String line = Join(values, " ");
        if (line.find("org.freedesktop.") == String::npos)
        {
            lines.insert(line);
        }
        Collect(reader, line, lines);
        reader.ReadEndElement();
    }
}

std::set<String> Describe(const String& document)
{
    // The reader refuses document types.
    XmlReader reader(document.substr(document.find("<node")), "introspection");
    String root;
    std::set<String> lines;
    EXPECT_TRUE(reader.TryReadStartElement(root, true));
    Collect(reader, "", lines);
    std::erase_if(lines, [](const String& line)
                  { return line.find("zel.SoftwareUpdate1") == String::npos || line.starts_with(" node"); });
    return lines;
}

} // namespace

TEST_F(BusApiTest, TheObjectsAreAsTheirDescriptionSays)
{
    std::set<String> offered = Describe(Introspect(path));
    offered.merge(Describe(Introspect(BusApi::ManagerPath)));
    constexpr std::uint64_t MaximumSize = 65536;
    EXPECT_EQ(offered, Describe(File::ReadAllText(ZEL_BUS_DESCRIPTION, MaximumSize)));
    EXPECT_GT(offered.size(), 20);
}

TEST_F(BusApiTest, ABundleIsStagedByItsDescriptor)
{
    String staged;
    service.script->stage = [&](const String& file, String& /*message*/)
    {
        staged = TemporaryFolder::Read(file);
        service.script->SetVersion(FileType::Pending, "2.0.0.0");
        return ModuleScript::ResultCode::Ok;
    };
    const auto bundle = Delivery::FileDescriptor::Open(folder.Write("bundle", "content"), O_RDONLY);
    EXPECT_EQ(Call("Stage", "ha{sv}", bundle.Get(), 0), "2.0.0.0");
    EXPECT_EQ(staged, "content");
}

TEST_F(BusApiTest, RefusalsHaveNamesAndReasons)
{
    const auto directory = Delivery::FileDescriptor::Open(folder.GetPath(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(Call("Stage", "ha{sv}", directory.Get(), 0),
              "zel.SoftwareUpdate1.Error.InvalidArgument: The bundle is a directory, not a regular file.");
    EXPECT_EQ(Call("Stage", "ha{sv}", directory.Get(), 1, "force", "b", 1),
              "org.freedesktop.DBus.Error.InvalidArgs: The option 'force' is not known.");
    EXPECT_THAT(Call("Install", "sa{sv}", "", 0),
                HasSubstr("zel.SoftwareUpdate1.Error.NotFound: There is no pending"));
    EXPECT_THAT(Call("Install", "sa{sv}", "", 1, "fallback", "b", 1),
                HasSubstr("zel.SoftwareUpdate1.Error.NotFound: There is no fallback"));
    EXPECT_EQ(Call("Install", "sa{sv}", "", 1, "delay", "s", "soon"),
              "org.freedesktop.DBus.Error.InvalidArgs: The option 'delay' has to be of type t.");
    EXPECT_THAT(Call("Resume", ""), HasSubstr("zel.SoftwareUpdate1.Error.InvalidState: "));
    EXPECT_THAT(Call("Install", "s", ""), HasSubstr("org.freedesktop.DBus.Error.InvalidArgs: "));
}

TEST_F(BusApiTest, AChangeIsAnnouncedWithItsValue)
{
    service.script->SetVersion(FileType::Pending, "2.0.0.0");
    service.script->install =
        [](ModuleScript::IUpdaterStatus& status, const String& revision, long long delay)
    {
        EXPECT_EQ(revision, "2.0.0.0");
        EXPECT_EQ(delay, 60000);
        return status.BeginInstallation(Id, true) ? ModuleScript::ResultCode::Ok
                                                  : ModuleScript::ResultCode::OperationFailed;
    };
    String announced;
    const auto receive = [](sd_bus_message* message, void* text, sd_bus_error* /*error*/)
    {
        const char* name = nullptr;
        const char* value = nullptr;
        sd_bus_message_skip(message, "s");
        sd_bus_message_enter_container(message, 'a', "{sv}");
        while (sd_bus_message_enter_container(message, 'e', "sv") > 0)
        {
            sd_bus_message_read(message, "s", &name);
            if (String(name) == "State" && sd_bus_message_read(message, "v", "s", &value) > 0)
            {
                *static_cast<String*>(text) = value;
                return 0;
            }
            sd_bus_message_skip(message, "v");
            sd_bus_message_exit_container(message);
        }
        return 0;
    };
    ASSERT_GE(sd_bus_match_signal(bus.get(), nullptr, BusApi::BusName.c_str(), path.c_str(),
                                  "org.freedesktop.DBus.Properties", "PropertiesChanged", receive,
                                  &announced),
              0);
    EXPECT_EQ(Call("Install", "sa{sv}", "", 1, "delay", "t", std::uint64_t{60000}), "");
    EXPECT_EQ(GetState(), "installing");
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (announced.empty() && std::chrono::steady_clock::now() < deadline)
    {
        constexpr std::uint64_t Step = 100000; // microseconds
        if (sd_bus_process(bus.get(), nullptr) == 0)
        {
            sd_bus_wait(bus.get(), Step);
        }
    }
    EXPECT_EQ(announced, "installing");
}

TEST_F(BusApiTest, FiftyClientsReadWhileAnInstallationGoesOn)
{
    ASSERT_TRUE(service.status->BeginInstallation(Id, true));
    std::atomic<bool> isEnding = false;
    std::atomic<int> failures = 0;
    std::atomic<std::int64_t> slowest = 0; // microseconds
    std::vector<std::jthread> clients;
    clients.reserve(50);
    for (int client = 0; client < 50; ++client)
    {
        clients.emplace_back(
            [&]
            {
                sd_bus* opened = nullptr;
                failures += sd_bus_open_system(&opened) < 0 ? 1 : 0;
                while (!isEnding)
                {
                    const std::int64_t begin = GetUnixTime();
                    char* text = nullptr;
                    failures += sd_bus_get_property_string(opened, BusApi::BusName.c_str(), path.c_str(),
                                                           ComponentObject::Interface.c_str(), "State",
                                                           nullptr, &text) < 0
                                    ? 1
                                    : 0;
                    std::free(text);
                    slowest = std::max(slowest.load(), GetUnixTime() - begin);
                }
                sd_bus_flush_close_unref(opened);
            });
    }
    // A longer look than the default second: ZEL_READERS_SECONDS=30.
    const char* seconds = std::getenv("ZEL_READERS_SECONDS");
    const std::int64_t end = GetUnixTime() + (seconds != nullptr ? std::stoi(seconds) : 1) * 1'000'000;
    int percentage = 0;
    while (GetUnixTime() < end)
    {
        service.status->SetMessage(Id, "Copying image", false);
        service.status->SetProgress(Id, percentage = (percentage + 1) % 100);
    }
    isEnding = true;
    clients.clear();
    EXPECT_EQ(failures, 0);
    RecordProperty("SlowestReadInMicroseconds", std::to_string(slowest));
    service.status->EndInstallation(Id, true);
    EXPECT_TRUE(WaitFor([this] { return GetState() == "idle"; }));
}

} // namespace Zel::Host::Service
