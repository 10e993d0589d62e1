#include "Service/BusRequest.h"

#include "Api/SoftwareUpdate1.h"
#include "Service/BusMessage.h"

#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"
#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <fcntl.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Commons::Diagnostics::Logging::LogLevel;
using System::Commons::Io::FileDescriptor;
using System::Core::Format;

namespace
{

struct FreeCredentials
{
    void operator()(sd_bus_creds* credentials) const noexcept { sd_bus_creds_unref(credentials); }
};

/// Arguments were checked against the method's signature before; what fails is not well formed.
int CheckRead(int result)
{
    if (result < 0)
    {
        throw BusRequestException(SD_BUS_ERROR_INVALID_ARGS, "The arguments cannot be read.");
    }
    return result;
}

/// Reads the value of an option, which has to be of the one type.
void ReadOption(sd_bus_message* message, const char* key, const char* type, void* value)
{
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, type) < 0)
    {
        throw BusRequestException(SD_BUS_ERROR_INVALID_ARGS,
                                  Format("The option '{0}' has to be of type {1}.", key, type));
    }
    CheckRead(sd_bus_message_read_basic(message, *type, value));
    CheckRead(sd_bus_message_exit_container(message));
}

} // namespace

BusRequestException::BusRequestException(const char* name, String message)
    : Exception(std::move(message)), name(name)
{
}

BusRequest::BusRequest(sd_bus_message* message) : message(BusMessage(sd_bus_message_ref(message)))
{
    sd_bus_creds* queried = nullptr;
    const int result = sd_bus_query_sender_creds(message, SD_BUS_CREDS_EUID | SD_BUS_CREDS_PID, &queried);
    const std::unique_ptr<sd_bus_creds, FreeCredentials> credentials(queried);
    uid_t user = 0;
    pid_t process = 0;
    if (result < 0 || sd_bus_creds_get_euid(queried, &user) < 0)
    {
        throw BusRequestException(SD_BUS_ERROR_ACCESS_DENIED, "Who calls could not be determined.");
    }
    static_cast<void>(sd_bus_creds_get_pid(queried, &process));
    const char* name = sd_bus_message_get_sender(message);
    sender = {name != nullptr ? name : "", user, process,
              sd_bus_message_get_allow_interactive_authorization(message) > 0};
    caller = Format("user {0} (process {1})", user, process);
}

String BusRequest::GetMember() const
{
    return sd_bus_message_get_member(message.get());
}

FileDescriptor BusRequest::ReadDescriptor() const
{
    int descriptor = -1;
    CheckRead(sd_bus_message_read_basic(message.get(), SD_BUS_TYPE_UNIX_FD, &descriptor));
    // The message owns the one it gave.
    const int own = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (own < 0)
    {
        throw BusRequestException(SD_BUS_ERROR_LIMITS_EXCEEDED, "The service has too many open files.");
    }
    return FileDescriptor::Adopt(own, "the bundle");
}

String BusRequest::ReadText() const
{
    const char* text = nullptr;
    CheckRead(sd_bus_message_read_basic(message.get(), SD_BUS_TYPE_STRING, &text));
    return text;
}

std::uint32_t BusRequest::ReadNumber() const
{
    std::uint32_t number = 0;
    CheckRead(sd_bus_message_read_basic(message.get(), SD_BUS_TYPE_UINT32, &number));
    return number;
}

void BusRequest::ReadNoOptions() const
{
    ReadOptions(nullptr);
}

void BusRequest::ReadInstallOptions(InstallRequest& request) const
{
    ReadOptions(&request);
}

void BusRequest::ReadOptions(InstallRequest* request) const
{
    CheckRead(sd_bus_message_enter_container(message.get(), SD_BUS_TYPE_ARRAY, "{sv}"));
    while (CheckRead(sd_bus_message_enter_container(message.get(), SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0)
    {
        const String key = ReadText();
        if (request != nullptr && key == "fallback")
        {
            int value = 0;
            ReadOption(message.get(), key.c_str(), "b", &value);
            request->fallback = value != 0;
        }
        else if (request != nullptr && key == "delay")
        {
            ReadOption(message.get(), key.c_str(), "t", &request->delay);
        }
        else
        {
            throw BusRequestException(SD_BUS_ERROR_INVALID_ARGS,
                                      Format("The option '{0}' is not known.", key));
        }
        CheckRead(sd_bus_message_exit_container(message.get()));
    }
    CheckRead(sd_bus_message_exit_container(message.get()));
}

void BusRequest::Answer(const RequestResult& result, const Write& write) const
{
    if (!result.IsOk())
    {
        Refuse(Api::ErrorPrefix + result.error, result.text);
        return;
    }
    sd_bus_message* created = nullptr;
    int sent = sd_bus_message_new_method_return(message.get(), &created);
    const BusMessage answer(created);
    sent = sent >= 0 && write ? write(created) : sent;
    sent = sent >= 0 ? sd_bus_send(nullptr, created, nullptr) : sent;
    if (sent < 0)
    {
        Log(LogLevel::Warning, "A call of {0} could not be answered: {1}", caller,
            std::generic_category().message(-sent));
    }
}

void BusRequest::Refuse(const String& errorName, const String& reason) const
{
    const String text = EscapeControlCharacters(reason);
    const int sent = sd_bus_reply_method_errorf(message.get(), errorName.c_str(), "%s", text.c_str());
    if (sent < 0)
    {
        Log(LogLevel::Warning, "A call of {0} could not be refused: {1}", caller,
            std::generic_category().message(-sent));
    }
}

} // namespace Zel::Host::Service
