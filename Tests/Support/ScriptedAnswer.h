#pragma once

#include "Zel/String.h"

#include <chrono>
#include <vector>

namespace Zel::Tests::Support
{

/// What a call gets instead of its normal answer.
class ScriptedAnswer
{
public:
    /// The name of what RAUC's handlers refuse with.
    inline static const String RefusalError =
        "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code30";

    enum class Kind
    {
        None,
        Late,
        Error,
        Texts
    };

    /// No answer ever: the caller waits for libdbus's timeout, or until the service goes.
    [[nodiscard]] static ScriptedAnswer None();

    /// The normal answer, but late; meanwhile nothing else is answered either.
    [[nodiscard]] static ScriptedAnswer Late(std::chrono::milliseconds delay);

    /// An error reply.
    [[nodiscard]] static ScriptedAnswer Error(String name, String text);

    /// A refusal as RAUC's handlers send it.
    [[nodiscard]] static ScriptedAnswer Refusal(String text);

    /// A method return with these strings as its arguments; without any it is empty.
    [[nodiscard]] static ScriptedAnswer Texts(std::vector<String> texts);

    [[nodiscard]] Kind GetKind() const noexcept { return kind; }

    [[nodiscard]] std::chrono::milliseconds GetDelay() const noexcept { return delay; }

    /// The strings, or an error's name and text.
    [[nodiscard]] const std::vector<String>& GetTexts() const noexcept { return texts; }

private:
    Kind kind = Kind::None;
    std::chrono::milliseconds delay{};
    std::vector<String> texts;
};

} // namespace Zel::Tests::Support
