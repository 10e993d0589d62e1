#include "Cli/ComponentReader.h"

#include "Cli/BusConnection.h"
#include "Cli/BusError.h"

#include <systemd/sd-bus.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>

namespace Zel::Host::Cli
{

namespace
{

const String PathPrefix = "/zel/SoftwareUpdate1/component";

struct Free
{
    void operator()(char* text) const noexcept { std::free(text); }
};

using CText = std::unique_ptr<char, Free>;

int CheckAnswer(int result)
{
    if (result < 0)
    {
        throw BusError(BusError::InvalidAnswer, "the service's answer has an unknown form");
    }
    return result;
}

using TextMember = String ComponentState::*;

struct TextRow
{
    std::string_view name;
    TextMember member;
};

constexpr std::array TextRows = {
    TextRow{"Id", &ComponentState::id},
    TextRow{"State", &ComponentState::state},
    TextRow{"Message", &ComponentState::message},
    TextRow{"CurrentVersion", &ComponentState::currentVersion},
    TextRow{"PendingVersion", &ComponentState::pendingVersion},
    TextRow{"FallbackVersion", &ComponentState::fallbackVersion},
    TextRow{"BootId", &ComponentState::bootId},
};

bool ReadTextProperty(sd_bus_message& message, std::string_view name, ComponentState& state)
{
    for (const TextRow& row : TextRows)
    {
        if (row.name == name)
        {
            const char* text = nullptr;
            CheckAnswer(sd_bus_message_read(&message, "v", "s", &text));
            state.*row.member = text;
            return true;
        }
    }
    return false;
}

void ReadProgress(sd_bus_message& message, ComponentState& state)
{
    std::int32_t percent = 0;
    std::int32_t depth = 0;
    const char* text = nullptr;
    CheckAnswer(sd_bus_message_read(&message, "v", "(isi)", &percent, &text, &depth));
    state.progressPercent = percent;
    state.progressText = text;
}

void ReadRevertible(sd_bus_message& message, ComponentState& state)
{
    int revertible = 0;
    CheckAnswer(sd_bus_message_read(&message, "v", "b", &revertible));
    state.revertible = revertible != 0;
}

void ReadLastVerdict(sd_bus_message& message, ComponentState& state)
{
    const char* result = nullptr;
    const char* version = nullptr;
    const char* reason = nullptr;
    std::uint64_t time = 0;
    CheckAnswer(sd_bus_message_read(&message, "v", "(ssst)", &result, &version, &reason, &time));
    state.lastVerdict = {result, version, reason, time};
}

void ReadNextStart(sd_bus_message& message, ComponentState& state)
{
    CheckAnswer(sd_bus_message_read(&message, "v", "t", &state.nextStart));
}

struct ReaderRow
{
    std::string_view name;
    void (*read)(sd_bus_message& message, ComponentState& state);
};

constexpr std::array ReaderRows = {
    ReaderRow{"Progress", &ReadProgress},
    ReaderRow{"Revertible", &ReadRevertible},
    ReaderRow{"LastVerdict", &ReadLastVerdict},
    ReaderRow{"NextStart", &ReadNextStart},
};

void ReadProperty(sd_bus_message& message, std::string_view name, ComponentState& state)
{
    if (ReadTextProperty(message, name, state))
    {
        return;
    }
    for (const ReaderRow& row : ReaderRows)
    {
        if (row.name == name)
        {
            row.read(message, state);
            return;
        }
    }
    CheckAnswer(sd_bus_message_skip(&message, "v"));
}

/// Calls `read` for every entry of an `a{sv}`, positioned at the entry's variant.
void ForEachProperty(sd_bus_message& message, const std::function<void(std::string_view name)>& read)
{
    CheckAnswer(sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "{sv}"));
    while (CheckAnswer(sd_bus_message_enter_container(&message, SD_BUS_TYPE_DICT_ENTRY, "sv")) > 0)
    {
        const char* name = nullptr;
        CheckAnswer(sd_bus_message_read(&message, "s", &name));
        read(name);
        CheckAnswer(sd_bus_message_exit_container(&message));
    }
    CheckAnswer(sd_bus_message_exit_container(&message));
}

std::vector<String> ReadPaths(sd_bus_message& message)
{
    std::vector<String> ids;
    CheckAnswer(sd_bus_message_enter_container(&message, SD_BUS_TYPE_VARIANT, "ao"));
    CheckAnswer(sd_bus_message_enter_container(&message, SD_BUS_TYPE_ARRAY, "o"));
    const char* path = nullptr;
    while (CheckAnswer(sd_bus_message_read(&message, "o", &path)) > 0)
    {
        char* decoded = nullptr;
        const int result = CheckAnswer(sd_bus_path_decode(path, PathPrefix.c_str(), &decoded));
        const CText id(decoded);
        if (result > 0)
        {
            ids.emplace_back(id.get());
        }
    }
    CheckAnswer(sd_bus_message_exit_container(&message));
    CheckAnswer(sd_bus_message_exit_container(&message));
    return ids;
}

} // namespace

void ComponentReader::ReadProperties(sd_bus_message& message, ComponentState& state)
{
    ComponentState read = state;
    ForEachProperty(message, [&](std::string_view name) { ReadProperty(message, name, read); });
    state = std::move(read);
}

std::vector<String> ComponentReader::ReadComponentIds(sd_bus_message& message)
{
    std::vector<String> ids;
    ForEachProperty(message,
                    [&](std::string_view name)
                    {
                        if (name == "Components")
                        {
                            ids = ReadPaths(message);
                        }
                        else
                        {
                            CheckAnswer(sd_bus_message_skip(&message, "v"));
                        }
                    });
    return ids;
}

String ComponentReader::ReadText(sd_bus_message& message)
{
    const char* text = nullptr;
    const int result = sd_bus_message_read(&message, "s", &text);
    CheckAnswer(result > 0 ? result : -EBADMSG);
    return text;
}

String ComponentReader::ToPath(const String& id)
{
    char* encoded = nullptr;
    BusConnection::Check(sd_bus_path_encode(PathPrefix.c_str(), id.c_str(), &encoded));
    const CText path(encoded);
    return path.get();
}

} // namespace Zel::Host::Cli
