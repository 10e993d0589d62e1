#include "Zel/System/Nm/INotificationManager.h"

namespace Zel::System::Nm
{

INotificationPayload::~INotificationPayload() = default;

INotificationManager::~INotificationManager() = default;

} // namespace Zel::System::Nm
