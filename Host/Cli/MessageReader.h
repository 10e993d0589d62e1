#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <functional>
#include <map>
#include <string_view>

struct sd_bus_message;

namespace Zel::Host::Cli
{

/// Reads values from D-Bus messages. Everything throws `BusError` for a message of another shape.
class MessageReader
{
public:
    /// Reads one variant at the message's position.
    using Reader = std::function<void(sd_bus_message& message)>;
    using Readers = std::map<std::string_view, Reader>;

    /// Reads an `a{sv}` at the message's position with one reader for each name. Names without one are
    /// skipped, so that a newer service can have more of them.
    static void ReadDictionary(sd_bus_message& message, const Readers& readers);

    /// Reads an array in a variant: `read` is called at each element's position while there is one. `element`
    /// is the element's signature.
    static void ReadArray(sd_bus_message& message, const String& element, const std::function<void()>& read);

    /// Reads the array that the message is at.
    static void ReadBareArray(sd_bus_message& message, const String& element,
                              const std::function<void()>& read);

    /// Return readers into a variable, which must live as long as they do. The text's is left alone on
    /// failure.
    [[nodiscard]] static Reader Into(String& text);
    [[nodiscard]] static Reader Into(bool& value);
    [[nodiscard]] static Reader Into(std::uint64_t& value);

    /// Reads one text at the message's position.
    [[nodiscard]] static String ReadText(sd_bus_message& message);

    /// Returns `result`, as a function of libsystemd returned it, when it is no failure.
    static int Check(int result);
};

} // namespace Zel::Host::Cli
