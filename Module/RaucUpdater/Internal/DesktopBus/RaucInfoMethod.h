#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Info": has RAUC verify a bundle and reads its compatible string and version.
class RaucInfoMethod : public DesktopBusMethod,
                       private System::Commons::Diagnostics::Logging::Loggable<RaucInfoMethod>
{
public:
    inline static const String MethodName = "Info";

    explicit RaucInfoMethod(String bundle);

    [[nodiscard]] bool ReadFields(const std::vector<DesktopBusField>& fields) override;
    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~RaucInfoMethod() override;

    [[nodiscard]] const String& GetBundle() const noexcept { return bundle; }

    [[nodiscard]] const String& GetCompatible() const noexcept { return compatible; }

    [[nodiscard]] const String& GetVersion() const noexcept { return version; }

private:
    using System::Commons::Diagnostics::Logging::Loggable<RaucInfoMethod>::GetLogger;
    using System::Commons::Diagnostics::Logging::Loggable<RaucInfoMethod>::Log;

    String bundle;
    String compatible;
    String version;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
