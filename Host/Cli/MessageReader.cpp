#include "Cli/MessageReader.h"

#include "Cli/BusError.h"

#include <systemd/sd-bus.h>

#include <cerrno>

namespace Zel::Host::Cli
{

int MessageReader::Check(int result)
{
    if (result < 0)
    {
        throw BusError(BusError::InvalidAnswer, "the service's answer has an unknown form");
    }
    return result;
}

void MessageReader::ReadDictionary(sd_bus_message& message, const Readers& readers)
{
    Check(sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "{sv}"));
    while (Check(sd_bus_message_enter_container(&message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0)
    {
        const auto reader = readers.find(ReadText(message));
        if (reader != readers.end())
        {
            reader->second(message);
        }
        else
        {
            Check(sd_bus_message_skip(&message, "v"));
        }
        Check(sd_bus_message_exit_container(&message));
    }
    Check(sd_bus_message_exit_container(&message));
}

void MessageReader::ReadArray(sd_bus_message& message, const String& element,
                              const std::function<void()>& read)
{
    Check(sd_bus_message_enter_container(&message, SD_BUS_TYPE_VARIANT, ("a" + element).c_str()));
    ReadBareArray(message, element, read);
    Check(sd_bus_message_exit_container(&message));
}

void MessageReader::ReadBareArray(sd_bus_message& message, const String& element,
                                  const std::function<void()>& read)
{
    Check(sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, element.c_str()));
    while (Check(sd_bus_message_at_end(&message, 0)) == 0)
    {
        read();
    }
    Check(sd_bus_message_exit_container(&message));
}

MessageReader::Reader MessageReader::Into(String& text)
{
    return [&text](sd_bus_message& message)
    {
        const char* read = nullptr;
        Check(sd_bus_message_read(&message, "v", "s", &read));
        text = read;
    };
}

MessageReader::Reader MessageReader::Into(bool& value)
{
    return [&value](sd_bus_message& message)
    {
        int read = 0;
        Check(sd_bus_message_read(&message, "v", "b", &read));
        value = read != 0;
    };
}

MessageReader::Reader MessageReader::Into(std::uint64_t& value)
{
    return [&value](sd_bus_message& message) { Check(sd_bus_message_read(&message, "v", "t", &value)); };
}

String MessageReader::ReadText(sd_bus_message& message)
{
    const char* text = nullptr;
    const int result = sd_bus_message_read(&message, "s", &text);
    Check(result > 0 ? result : -EBADMSG);
    return text;
}

} // namespace Zel::Host::Cli
