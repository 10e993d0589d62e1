#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"

#include "RaucUpdater/Internal/DesktopBus/DesktopBusError.h"

#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

DesktopBusMethod::~DesktopBusMethod() = default;

bool DesktopBusMethod::SendMessage(const DesktopBusConnection& connection, bool retry)
{
    DesktopBusMessage reply;
    if (SendMessageWithReply(connection, reply))
    {
        const bool isRead = ReadMessage(reply);
        if (!isRead)
        {
            Log(LogLevel::Error, "Failed to read reply");
        }
        return isRead;
    }
    const DesktopBusError error(reply);
    if (!error.IsSet())
    {
        return false;
    }
    Log(LogLevel::Error, "Error: {0} - {1}", error.GetName(), error.GetMessage());
    if (retry && error.IsNoReply())
    {
        Log(LogLevel::Debug, "Retry");
        return SendMessage(connection, false);
    }
    return false;
}

bool DesktopBusMethod::ReadMessage(DesktopBusMessage& reply)
{
    return ReadFields(reply.ReadFields());
}

bool DesktopBusMethod::GetReply(const DesktopBusConnection& connection,
                                const DesktopBusPendingCall& pendingCall, DesktopBusMessage& reply) const
{
    reply = connection.GetReply(pendingCall);
    return reply.IsMethodReply();
}

bool DesktopBusMethod::SendRequest(const Logger& logger, const RequestTexts& texts, DesktopBusMessage request,
                                   const AddArgumentsOperation& addArguments,
                                   const DesktopBusConnection& connection, DesktopBusMessage& reply) const
{
    logger.Log(LogLevel::Debug, "Send message.");
    if (!request.IsSet())
    {
        logger.Log(LogLevel::Error, "Failed to create message for dbus call.");
        return false;
    }
    if (addArguments)
    {
        Arguments arguments;
        addArguments(arguments);
        logger.Log(LogLevel::Trace, "{0}", texts.write);
        if (!request.WriteFields(arguments))
        {
            logger.Log(LogLevel::Error, "Failed to add arguments for dbus call.");
            return false;
        }
    }
    logger.Log(LogLevel::Trace, "{0}", texts.queue);
    const auto pendingCall = connection.SendMessageWithReplyAsync(request);
    if (!pendingCall.IsSet())
    {
        return false;
    }
    logger.Log(LogLevel::Trace, "{0}", texts.reply);
    return GetReply(connection, pendingCall, reply);
}

void DesktopBusMethod::AddTextArgument(const Logger& logger, const char* traceText, const String& text,
                                       Arguments& arguments)
{
    logger.Log(LogLevel::Trace, "{0}", traceText);
    arguments.emplace_back().SetString(text);
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
