#include "Support/RecordingNotificationSink.h"

namespace Zel::Tests::Support
{

RecordingNotificationSink::~RecordingNotificationSink() = default;

void RecordingNotificationSink::Write(const System::Nm::Notification& notification)
{
    const std::lock_guard lock(mutex);
    notifications.push_back(notification);
}

std::vector<System::Nm::Notification> RecordingNotificationSink::GetNotifications() const
{
    const std::lock_guard lock(mutex);
    return notifications;
}

std::vector<String> RecordingNotificationSink::GetLines() const
{
    std::vector<String> lines;
    for (const auto& notification : GetNotifications())
    {
        lines.push_back(String(ToString(notification.severity)) + " " + notification.name + " (" +
                        notification.sender + "): " + notification.message);
    }
    return lines;
}

void RecordingNotificationSink::Clear()
{
    const std::lock_guard lock(mutex);
    notifications.clear();
}

} // namespace Zel::Tests::Support
