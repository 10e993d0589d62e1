#pragma once

#include "Zel/String.h"
#include "Zel/System/Nm/INotificationManager.h"
#include "Zel/Visibility.h"

namespace Zel::System::NmPayload::Security
{

/// The payload of a security notification: its text.
class ZEL_API SecurityNotificationPayload : public Nm::INotificationPayload
{
public:
    explicit SecurityNotificationPayload(String message);
    ~SecurityNotificationPayload() override;

    [[nodiscard]] const String& GetMessage() const noexcept override;

private:
    String message;
};

} // namespace Zel::System::NmPayload::Security
