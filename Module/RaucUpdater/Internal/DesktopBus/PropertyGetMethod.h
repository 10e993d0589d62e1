#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusFieldReader.h"
#include "RaucUpdater/Internal/DesktopBus/DesktopBusMethod.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Core/Format.h"

#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// "Get" of the standard properties interface: base of the properties. `ReadFields` of a property takes a
/// list whose field 0 is the property's variant: the reply of "Get", or the value out of a signal.
class PropertyGetMethod : public DesktopBusMethod,
                          private System::Commons::Diagnostics::Logging::Loggable<PropertyGetMethod>
{
public:
    inline static const String MethodName = "Get";

    /// The property `propertyName` of the interface `interfaceName`.
    PropertyGetMethod(String destination, String objectPath, String interfaceName, String propertyName);

    [[nodiscard]] bool SendMessageWithReply(const DesktopBusConnection& connection,
                                            DesktopBusMessage& reply) override;
    ~PropertyGetMethod() override;

    [[nodiscard]] const String& GetPropertyName() const noexcept { return propertyName; }

protected:
    /// The property `propertyName` of RAUC.
    explicit PropertyGetMethod(String propertyName);

    /// A text with one placeholder, for the property.
    using SuccessText = System::Core::FormatText<const String&>;
    using FailureText = DesktopBusFieldReader::FailureText;

    /// Returns the content of the variant in field 0; logs and returns null when there is none.
    [[nodiscard]] static const DesktopBusField* EnterVariant(const DesktopBusFieldReader& reader);

    /// `ReadFields` of a property of type string, logged by `logger`.
    [[nodiscard]] static bool ReadTextProperty(const Logger& logger,
                                               const std::vector<DesktopBusField>& fields, String& text,
                                               SuccessText successText, FailureText failureText);

private:
    using System::Commons::Diagnostics::Logging::Loggable<PropertyGetMethod>::GetLogger;

    String destination;
    String objectPath;
    String interfaceName;
    String propertyName;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
