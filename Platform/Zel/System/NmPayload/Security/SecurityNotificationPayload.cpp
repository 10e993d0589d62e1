#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <utility>

namespace Zel::System::NmPayload::Security
{

SecurityNotificationPayload::SecurityNotificationPayload(String message) : message(std::move(message)) {}

SecurityNotificationPayload::~SecurityNotificationPayload() = default;

const String& SecurityNotificationPayload::GetMessage() const noexcept
{
    return message;
}

} // namespace Zel::System::NmPayload::Security
