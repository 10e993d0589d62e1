#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "InstallBundle": starts the installation of a bundle by its path; the option "ignore-compatible" is always
/// sent, true or false. The reply is not read.
class RaucInstallBundleMethod
    : public DesktopBusMethod,
      private System::Commons::Diagnostics::Logging::Loggable<RaucInstallBundleMethod>
{
public:
    inline static const String MethodName = "InstallBundle";

    RaucInstallBundleMethod(String bundle, bool ignoreCompatible);

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucInstallBundleMethod() override;

    [[nodiscard]] const String& GetBundle() const noexcept { return bundle; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucInstallBundleMethod>::GetLogger;
    using System::Commons::Diagnostics::Logging::Loggable<RaucInstallBundleMethod>::Log;

    void AddArguments(Arguments& arguments) const;
    void AddIgnoreCompatibleArgument(DesktopBusField& entry) const;

    String bundle;
    bool ignoreCompatible;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
