#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusConnection.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMessage.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusPendingCall.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Diagnostics/Logging/Logger.h"

#include <functional>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// One D-Bus method call: holds the arguments, sends them, waits for the reply and reads it into members. A
/// derived class is used by one thread for one call. Nothing throws for a D-Bus failure.
class DesktopBusMethod : private System::Commons::Diagnostics::Logging::Loggable<DesktopBusMethod>
{
public:
    /// Sends the call, waits for its reply and reads it. Returns true when a method return came and
    /// `ReadFields` accepted it. An error reply is logged. With `retry`, a call that ended with the error
    /// NoReply is sent a second time, at once and for the last time.
    [[nodiscard]] virtual bool SendMessage(const DesktopBusConnection& connection, bool retry);

    /// Reads the arguments of a method return.
    [[nodiscard]] virtual bool ReadMessage(DesktopBusMessage& reply);

    /// Stores what the call wants to know of the reply's arguments; returns whether they had the expected
    /// shape. What was stored before a failure stays stored.
    [[nodiscard]] virtual bool ReadFields(const std::vector<DesktopBusField>& fields) = 0;

    /// Builds and sends the request and waits for the reply. Returns true when `reply` holds a method return;
    /// otherwise it holds whatever arrived, an error for example, or is left as it was.
    [[nodiscard]] virtual bool SendMessageWithReply(const DesktopBusConnection& connection,
                                                    DesktopBusMessage& reply) = 0;

    virtual ~DesktopBusMethod();
    DesktopBusMethod(const DesktopBusMethod&) = delete;
    DesktopBusMethod& operator=(const DesktopBusMethod&) = delete;

protected:
    using Logger = System::Commons::Diagnostics::Logging::Logger;
    using Arguments = std::vector<DesktopBusField>;
    using AddArgumentsOperation = std::function<void(Arguments& arguments)>;

    /// What a call logs at trace level on its way; `write` only when it has arguments.
    struct RequestTexts
    {
        const char* write;
        const char* queue;
        const char* reply;
    };

    DesktopBusMethod() = default;

    /// Takes the reply of `pendingCall` into `reply`, blocking; returns whether it is a method return.
    [[nodiscard]] bool GetReply(const DesktopBusConnection& connection,
                                const DesktopBusPendingCall& pendingCall, DesktopBusMessage& reply) const;

    /// The steps that all calls share: `SendMessageWithReply` for the call `request`, logged by `logger`.
    /// `addArguments` is empty for a call without arguments.
    [[nodiscard]] bool SendRequest(const Logger& logger, const RequestTexts& texts, DesktopBusMessage request,
                                   const AddArgumentsOperation& addArguments,
                                   const DesktopBusConnection& connection, DesktopBusMessage& reply) const;

    /// Logs `traceText` and appends a string.
    static void AddTextArgument(const Logger& logger, const char* traceText, const String& text,
                                Arguments& arguments);
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
