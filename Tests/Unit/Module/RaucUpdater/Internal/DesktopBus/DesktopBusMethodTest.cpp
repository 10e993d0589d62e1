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

/// A call that gets the given replies, one for each time that it is sent.
struct ScriptedMethod : DesktopBusMethod
{
    bool ReadFields(const std::vector<DesktopBusField>& fields) override { return !fields.empty(); }

    bool SendMessageWithReply(const DesktopBusConnection& /*connection*/, DesktopBusMessage& reply) override
    {
        reply = sent < replies.size() ? DesktopBusMessage(replies[sent].Share()) : std::move(reply);
        ++sent;
        return reply.IsMethodReply();
    }

    std::vector<BusMessage> replies;
    std::size_t sent = 0;
};

TEST(DesktopBusMethodTest, TheReplyDecidesWhatIsLoggedAndWhetherTheCallIsRepeated)
{
    const auto send = [](const std::vector<BusMessage>& replies, bool retry)
    {
        const Tests::Support::RecordingLog log;
        ScriptedMethod method;
        method.replies = replies;
        const String result = method.SendMessage(DesktopBusConnection(), retry) ? "true; " : "false; ";
        return result + std::to_string(method.sent) + "; " + Join(log->GetLines(), "; ");
    };
    const auto readable = BusMessage::LooseReturn().With([](auto& writer) { writer.Text("content"); });
    const auto noReply = BusMessage::LooseError(DesktopBusError::NoReplyName, "text");
    const auto other = BusMessage::LooseError(DesktopBusError::NoReplyName + "s", "{0}");
    const String error = "error DesktopBusMethod: Error: org.freedesktop.DBus.Error.NoReply";
    EXPECT_EQ(send({readable}, true), "true; 1; ");
    EXPECT_EQ(send({}, true), "false; 1; ");
    EXPECT_EQ(send({other, readable}, true), "false; 1; " + error + "s - {0}");
    EXPECT_EQ(send({noReply, readable}, true),
              "true; 2; " + error + " - text; debug DesktopBusMethod: Retry");
    EXPECT_EQ(send({noReply, readable}, false), "false; 1; " + error + " - text");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
