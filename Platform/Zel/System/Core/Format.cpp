#include "Zel/System/Core/Format.h"

#include "Zel/Immortal.h"

#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <utility>

namespace Zel::System::Core::Impl
{

namespace
{

constexpr std::size_t InlineCharacters = 500;

struct HandlerSlot
{
    std::mutex mutex;
    BasicStringFormatExceptionHandler::Handler handler;
};

HandlerSlot& GetHandlerSlot()
{
    // Texts are formatted to the process's end.
    static Immortal<HandlerSlot> slot;
    return slot.Get();
}

} // namespace

void BasicStringFormatExceptionHandler::Invoke(const String& formatText, const String& reason) noexcept
{
    try
    {
        Handler handler;
        {
            HandlerSlot& slot = GetHandlerSlot();
            const std::lock_guard lock(slot.mutex);
            handler = slot.handler;
        }
        if (handler)
        {
            handler(formatText, reason);
            return;
        }
        const String line = "Failed to format text '" + formatText + "': " + reason + "\n";
        static_cast<void>(std::fputs(line.c_str(), stderr));
    }
    catch (...)
    {
        // A failure to report a failure has nowhere to go.
    }
}

BasicStringFormatExceptionHandler::Handler BasicStringFormatExceptionHandler::Set(Handler handler)
{
    HandlerSlot& slot = GetHandlerSlot();
    const std::lock_guard lock(slot.mutex);
    return std::exchange(slot.handler, std::move(handler));
}

String FormatPiece(fmt::string_view text, fmt::format_args arguments)
{
    try
    {
        fmt::basic_memory_buffer<char, InlineCharacters> buffer;
        fmt::vformat_to(fmt::appender(buffer), text, arguments);
        return {buffer.data(), buffer.size()};
    }
    catch (const std::exception& exception)
    {
        BasicStringFormatExceptionHandler::Invoke(String(text.data(), text.size()), exception.what());
        return {};
    }
}

} // namespace Zel::System::Core::Impl
