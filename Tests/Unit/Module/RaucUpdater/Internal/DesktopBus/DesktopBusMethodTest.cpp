#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusError.h"
#include "Support/BusMessage.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using Tests::Support::BusMessage;
using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

const String NoReply = "org.freedesktop.DBus.Error.NoReply";

BusMessage Return()
{
    return BusMessage::LooseReturn().With([](auto& writer) { writer.Text("content"); });
}

/// A call that gets the given replies, one for each time that it is sent.
class ScriptedMethod : public DesktopBusMethod
{
public:
    explicit ScriptedMethod(std::vector<BusMessage> replies, bool isReadable = true)
        : replies(std::move(replies)), isReadable(isReadable)
    {
    }

    bool ReadFields(const std::vector<DesktopBusField>& fields) override
    {
        content = DesktopBusField::ToString(fields);
        return isReadable;
    }

    bool SendMessageWithReply(const DesktopBusConnection& /*connection*/, DesktopBusMessage& reply) override
    {
        if (sent < replies.size())
        {
            reply = DesktopBusMessage(replies[sent].Share());
        }
        ++sent;
        return reply.IsMethodReply();
    }

    std::vector<BusMessage> replies;
    bool isReadable;
    std::size_t sent = 0;
    String content;
};

TEST(DesktopBusMethodTest, TheReplyDecidesWhatIsLoggedAndWhetherTheCallIsRepeated)
{
    struct Case
    {
        String name;
        std::vector<BusMessage> replies;
        bool retry;
        bool isReadable;
        bool result;
        std::size_t sent;
        Lines lines;
    };

    const auto error = [](const String& name) { return BusMessage::LooseError(name, "text"); };
    const String noReplyLine = "error DesktopBusMethod: Error: " + NoReply + " - text";
    const String retryLine = "debug DesktopBusMethod: Retry";
    const std::vector<Case> cases = {
        {"return", {Return()}, true, true, true, 1, {}},
        {"unreadable", {Return()}, true, false, false, 1, {"error DesktopBusMethod: Failed to read reply"}},
        {"nothing", {}, true, true, false, 1, {}},
        {"neither", {BusMessage::Signal("/", "a.b", "C")}, true, true, false, 1, {}},
        {"refusal",
         {error("a.B"), Return()},
         true,
         true,
         false,
         1,
         {"error DesktopBusMethod: Error: a.B - text"}},
        {"retried", {error(NoReply), Return()}, true, true, true, 2, {noReplyLine, retryLine}},
        {"twice",
         {error(NoReply), error(NoReply), Return()},
         true,
         true,
         false,
         2,
         {noReplyLine, retryLine, noReplyLine}},
        {"without retry", {error(NoReply), Return()}, false, true, false, 1, {noReplyLine}},
        {"similar name",
         {error(NoReply + "s"), Return()},
         true,
         true,
         false,
         1,
         {"error DesktopBusMethod: Error: " + NoReply + "s - text"}},
    };
    const DesktopBusConnection connection;
    for (const auto& expected : cases)
    {
        const RecordingLog log;
        ScriptedMethod method(expected.replies, expected.isReadable);
        EXPECT_EQ(method.SendMessage(connection, expected.retry), expected.result) << expected.name;
        EXPECT_EQ(method.sent, expected.sent) << expected.name;
        EXPECT_EQ(log->GetLines(), expected.lines) << expected.name;
    }
}

TEST(DesktopBusMethodTest, TheArgumentsOfTheReplyAreRead)
{
    ScriptedMethod method({Return()});
    ASSERT_TRUE(method.SendMessage(DesktopBusConnection(), false));
    EXPECT_EQ(method.content, "[{DesktopBusField=[type=string(115); value=\"content\"]}]");
}

TEST(DesktopBusErrorTest, OnlyAnErrorMessageSetsIt)
{
    const DesktopBusMessage first(BusMessage::LooseError("a.First", "one").Share());
    const DesktopBusMessage second(BusMessage::LooseError("a.Second", "two").Share());
    const DesktopBusMessage other(Return().Share());
    DesktopBusError error(other);
    EXPECT_FALSE(error.IsSet());
    EXPECT_EQ(error.GetName() + error.GetMessage(), "");
    EXPECT_TRUE(error.Set(first));
    EXPECT_EQ(error.GetName() + error.GetMessage(), "a.Firstone");
    EXPECT_FALSE(error.Set(other));
    EXPECT_FALSE(error.Set(DesktopBusMessage()));
    EXPECT_EQ(error.GetName() + error.GetMessage(), "a.Firstone");
    EXPECT_TRUE(error.Set(second));
    EXPECT_EQ(error.GetName() + error.GetMessage(), "a.Secondtwo");
    EXPECT_FALSE(error.IsNoReply());
    EXPECT_TRUE(DesktopBusError(DesktopBusMessage(BusMessage::LooseError(NoReply, "").Share())).IsNoReply());
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
