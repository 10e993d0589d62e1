#pragma once

#include "Zel/String.h"
#include "Zel/Visibility.h"

#include <fmt/format.h>

#include <functional>

namespace Zel::System::Core
{

/// A format text whose placeholders ("{0}" or "{}") were checked against the arguments at compile time.
template <typename... Arguments>
using FormatText = fmt::format_string<Arguments...>;

namespace Impl
{

/// Receives every formatting failure of the process. Until a handler is set, failures go to standard error.
class ZEL_API BasicStringFormatExceptionHandler
{
public:
    using Handler = std::function<void(const String& formatText, const String& reason)>;

    /// Hands a failure to the handler; never throws.
    static void Invoke(const String& formatText, const String& reason) noexcept;

    /// Replaces the handler; an empty one restores the default. Returns the earlier one. Thread-safe.
    static Handler Set(Handler handler);
};

/// Formats into a buffer of 500 characters that grows where the text is longer. A standard exception is
/// handed to the format-exception handler and gives an empty text; any other exception passes.
[[nodiscard]] ZEL_API String FormatPiece(fmt::string_view text, fmt::format_args arguments);

} // namespace Impl

/// Returns `text` with its placeholders replaced by the arguments; empty when formatting failed
/// (`Impl::FormatPiece`).
template <typename... Arguments>
[[nodiscard]] String Format(FormatText<Arguments...> text, Arguments&&... arguments)
{
    return Impl::FormatPiece(text, fmt::make_format_args(arguments...));
}

/// The same for a text that is known at run time only, for example one from a settings document.
template <typename... Arguments>
[[nodiscard]] String FormatRuntime(const String& text, Arguments&&... arguments)
{
    return Impl::FormatPiece(text, fmt::make_format_args(arguments...));
}

} // namespace Zel::System::Core
