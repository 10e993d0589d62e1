#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogLevel.h"
#include "Zel/Visibility.h"

namespace Zel::System::Commons::Diagnostics::Logging
{

/// One line of the log.
struct LogRecord
{
    LogLevel level;
    /// The class that logged, without its namespaces.
    String logger;
    /// As it was formatted: control characters in it are the sink's to escape (`EscapeControlCharacters`).
    String text;
};

/// Where log lines go. `Write` is called from any thread, several at a time, and does not throw.
class ZEL_API ILogSink
{
public:
    virtual ~ILogSink();
    virtual void Write(const LogRecord& record) = 0;
};

/// Returns `text` with every byte of a control character (below U+0020, U+007F to U+009F) and of what is not
/// UTF-8 written as "\xHH", so that one record stays one line of valid text and texts from outside cannot
/// steer a terminal.
[[nodiscard]] ZEL_API String EscapeControlCharacters(const String& text);

} // namespace Zel::System::Commons::Diagnostics::Logging
