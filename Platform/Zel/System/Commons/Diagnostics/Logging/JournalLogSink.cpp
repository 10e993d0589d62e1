#include "Zel/System/Commons/Diagnostics/Logging/LogManager.h"

#include <systemd/sd-journal.h>

#include <array>
#include <sys/uio.h>
#include <syslog.h>

namespace Zel::System::Commons::Diagnostics::Logging
{

namespace
{

int ToPriority(LogLevel level) noexcept
{
    switch (level)
    {
    case LogLevel::Error:
        return LOG_ERR;
    case LogLevel::Warning:
        return LOG_WARNING;
    case LogLevel::Info:
        return LOG_INFO;
    case LogLevel::Debug:
    case LogLevel::Trace:
        return LOG_DEBUG;
    }
    return LOG_INFO;
}

class JournalLogSink : public ILogSink
{
public:
    void Write(const LogRecord& record) override
    {
        std::array<String, 4> fields = {"MESSAGE=" + EscapeControlCharacters(record.text),
                                        "PRIORITY=" + std::to_string(ToPriority(record.level)),
                                        "SYSLOG_IDENTIFIER=" + LogManager::GetIdentifier(),
                                        "ZEL_LOGGER=" + record.logger};
        std::array<iovec, fields.size()> vectors{};
        for (std::size_t index = 0; index < fields.size(); ++index)
        {
            vectors[index] = {fields[index].data(), fields[index].size()};
        }
        // Where there is no journal the line is lost: a log has no second way to report its own failure.
        static_cast<void>(sd_journal_sendv(vectors.data(), static_cast<int>(vectors.size())));
    }
};

} // namespace

std::shared_ptr<ILogSink> LogManager::CreateJournalSink()
{
    return std::make_shared<JournalLogSink>();
}

} // namespace Zel::System::Commons::Diagnostics::Logging
