#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Install": starts the installation of a bundle by its path. The reply is not read.
class RaucInstallMethod : public DesktopBusMethod,
                          private System::Commons::Diagnostics::Logging::Loggable<RaucInstallMethod>
{
public:
    inline static const String MethodName = "Install";

    explicit RaucInstallMethod(String bundle);

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucInstallMethod() override;

    [[nodiscard]] const String& GetBundle() const noexcept { return bundle; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucInstallMethod>::GetLogger;

    String bundle;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
