#include "Service/BusApi.h"

#include "Bus/Host/Device.h"

#include <iterator>
#include <list>
#include <thread>

namespace Zel::Host::Service
{

using namespace testing;

/// A device with clients that are served by the same loop.
struct BusApiTest : Test, Tests::Bus::Device
{
    /// What a description offers, a line for each element with its attributes, sorted.
    static std::vector<String> Describe(const String& document)
    {
        static const std::regex Tag(R"re(<(interface|method|signal|property|arg) ([^>]*?)/?>)re");
        std::vector<String> lines;
        for (std::sregex_iterator tag(document.begin(), document.end(), Tag), end; tag != end; ++tag)
        {
            std::istringstream attributes((*tag)[2]);
            const std::set<String> words{std::istream_iterator<std::string>(attributes), {}};
            lines.push_back((*tag)[1].str() + " " + Join({words.begin(), words.end()}, " "));
        }
        return lines;
    }

    static BusCall To(const String& object, const char* interface, const char* member,
                      const std::function<int(sd_bus_message* call)>& write = {})
    {
        return {Api::BusName, object, interface, member, std::chrono::seconds(10), write};
    }

    /// Returns the first text of the answer, behind "NAME: " for an error.
    String Ask(const BusCall& call)
    {
        std::optional<String> text;
        client.Call(call, [&text](const BusAnswer& answer)
                    { text = (answer.IsOk() ? "" : answer.errorName + ": ") + answer.text; });
        EXPECT_TRUE(RunUntil([&text] { return text.has_value(); })) << call.member;
        return text.value_or("");
    }

    template <typename... Arguments>
    String Ask(const char* member, const char* types, Arguments... arguments)
    {
        const auto write = [=](sd_bus_message* message)
        { return sd_bus_message_append(message, types, arguments...); };
        return Ask(To(path, Api::ComponentInterface.c_str(), member, write));
    }

    BusConnection client{loop, {}};
};

TEST_F(BusApiTest, TheObjectsAreAsTheirDescriptionSays)
{
    String offered;
    for (const String& object : {Api::ManagerPath, path})
    {
        const String all = Ask(To(object, "org.freedesktop.DBus.Introspectable", "Introspect"));
        offered += all.substr(all.find("<interface name=\"zel."));
    }
    EXPECT_EQ(Describe(offered), Describe(Tests::Support::TemporaryFolder::Read(ZEL_BUS_DESCRIPTION)));
    EXPECT_GT(Describe(offered).size(), 20);
}

TEST_F(BusApiTest, RefusalsHaveNamesAndReasons)
{
    const auto directory = FileDescriptor::Open(folder.GetPath(), O_RDONLY | O_DIRECTORY);
    EXPECT_EQ(
        Ask("Stage", "ha{sv}", directory.Get(), 0),
        "zel.SoftwareUpdate1.Error.InvalidArgument: The bundle is a directory, not a regular file. Hand over "
        "a bundle's file.");
    const String invalid = "org.freedesktop.DBus.Error.InvalidArgs: ";
    EXPECT_EQ(Ask("Stage", "ha{sv}", directory.Get(), 1, "force", "b", 1),
              invalid + "The option 'force' is not known.");
    EXPECT_EQ(Ask("Install", "sa{sv}", "", 1, "delay", "s", "soon"),
              invalid + "The option 'delay' has to be of type t.");
    EXPECT_THAT(Ask("Install", "s", ""), StartsWith(invalid));
    script->SetVersion(FileType::Fallback, "");
    EXPECT_THAT(Ask("Install", "sa{sv}", "", 1, "fallback", "b", 1),
                HasSubstr("zel.SoftwareUpdate1.Error.NotFound: There is no fallback"));
    EXPECT_THAT(Ask("Resume", ""), StartsWith("zel.SoftwareUpdate1.Error.InvalidState: "));
}

TEST_F(BusApiTest, EachEndIsSignalledAlsoOneFromBeforeTheServiceWasThere)
{
    std::vector<String> ends;
    const auto listen = [](sd_bus_message* signal, void* list, sd_bus_error*)
    {
        const char* result = nullptr;
        const char* version = nullptr;
        const char* reason = nullptr;
        EXPECT_GE(sd_bus_message_read(signal, "sss", &result, &version, &reason), 0);
        static_cast<std::vector<String>*>(list)->push_back(Join({result, version, reason}, "|"));
        return 0;
    };
    ASSERT_GE(sd_bus_match_signal(client.Get(), nullptr, Api::BusName.c_str(), path.c_str(),
                                  Api::ComponentInterface.c_str(), "Finished", listen, &ends),
              0);
    Vanish();
    Copy();
    End(false, "no space");
    Appear();
    EXPECT_EQ(Resume(), "");
    EXPECT_EQ(Install({"", false, 60000}), "");
    EXPECT_EQ(Cancel(), "");
    EXPECT_TRUE(RunUntil([&ends] { return ends.size() >= 2; }));
    EXPECT_THAT(ends, ElementsAre("failed|1.1.0.0|no space", "called-off|1.1.0.0|Called off by A."));
}

TEST_F(BusApiTest, FiftyClientsReadWhileAnInstallationGoesOn)
{
    const auto write = [](sd_bus_message* message)
    { return sd_bus_message_append(message, "ss", Api::ComponentInterface.c_str(), "State"); };
    const BusCall call = To(path, "org.freedesktop.DBus.Properties", "Get", write);
    std::map<String, int> answers;
    const std::function<void(BusConnection&)> read = [&](BusConnection& reader)
    {
        const auto again = [&](const BusAnswer& answer)
        {
            ++answers[answer.errorName + answer.text];
            read(reader);
        };
        reader.Call(call, again);
    };
    std::list<BusConnection> readers;
    for (int number = 0; number < 50; ++number)
    {
        read(readers.emplace_back(loop, EventLoop::Task()));
    }
    EXPECT_TRUE(RunUntil([&] { return answers["idle"] >= 500; }));
    EXPECT_EQ(Install(), "");
    const std::jthread module(
        [this](const std::stop_token& end)
        {
            for (int percentage = 0; !end.stop_requested(); percentage = (percentage + 1) % 100)
            {
                status->SetMessage(Id, "Copying image", false);
                status->SetProgress(Id, percentage);
            }
        });
    EXPECT_TRUE(RunUntil([&] { return answers["installing"] >= 5000; }));
    EXPECT_THAT(answers, UnorderedElementsAre(Key("idle"), Key("installing")));
}

} // namespace Zel::Host::Service
