#pragma once

#include "Support/BusMessage.h"
#include "Zel/String.h"

#include <algorithm>
#include <functional>
#include <vector>

namespace Zel::Tests::Support
{

/// What a call gets instead of its normal answer.
struct ScriptedAnswer
{
    /// The name of what RAUC's handlers refuse with.
    inline static const String RefusalError =
        "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code30";

    /// No answer ever: the caller waits for libdbus's timeout, or until the service goes.
    [[nodiscard]] static ScriptedAnswer None() { return {}; }

    /// An error reply.
    [[nodiscard]] static ScriptedAnswer Error(const String& name, const String& text)
    {
        return {[=](const BusMessage& call) { return call.Error(name, text); }};
    }

    /// A refusal as RAUC's handlers send it.
    [[nodiscard]] static ScriptedAnswer Refusal(const String& text) { return Error(RefusalError, text); }

    /// A method return with these arguments.
    [[nodiscard]] static ScriptedAnswer Values(const BusWriter::Write& write)
    {
        return {[=](const BusMessage& call) { return call.Return().With(write); }};
    }

    /// A method return with these strings as its arguments; without any it is empty.
    [[nodiscard]] static ScriptedAnswer Texts(const std::vector<String>& texts)
    {
        return Values([=](auto& writer)
                      { std::ranges::for_each(texts, [&](auto& text) { writer.Text(text); }); });
    }

    /// Makes the answer; empty for none.
    std::function<BusMessage(const BusMessage& call)> make;
    /// Whether the call after that gets the normal answer again.
    bool isOnce = false;
};

} // namespace Zel::Tests::Support
