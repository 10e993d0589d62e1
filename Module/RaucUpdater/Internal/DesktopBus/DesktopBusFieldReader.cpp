#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

using System::Commons::Diagnostics::Logging::LogLevel;

DesktopBusFieldReader::DesktopBusFieldReader(const Logger& logger,
                                             std::span<const DesktopBusField> fields) noexcept
    : logger(logger), fields(fields)
{
}

bool DesktopBusFieldReader::Fail(FailureText failureText) const
{
    if (logger.IsEnabled(LogLevel::Error))
    {
        logger.Write(LogLevel::Error, System::Core::Format(failureText, DesktopBusField::ToString(fields)));
    }
    return false;
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
