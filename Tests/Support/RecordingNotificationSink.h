#pragma once

#include "Support/Recorded.h"
#include "Zel/String.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <vector>

namespace Zel::Tests::Support
{

/// Keeps the notifications that a manager delivers. Thread-safe.
class RecordingNotificationSink : public System::Nm::INotificationSink
{
public:
    void Write(const System::Nm::Notification& notification) override { notifications.Add(notification); }

    [[nodiscard]] std::vector<System::Nm::Notification> GetNotifications() const
    {
        return notifications.Get();
    }

    /// Returns them as lines of the form "{severity} {name} ({sender}): {message}".
    [[nodiscard]] std::vector<String> GetLines() const
    {
        std::vector<String> lines;
        for (const auto& notification : GetNotifications())
        {
            lines.push_back(String(ToString(notification.severity)) + " " + notification.name + " (" +
                            notification.sender + "): " + notification.message);
        }
        return lines;
    }

    void Clear() { notifications.Clear(); }

private:
    Recorded<System::Nm::Notification> notifications;
};

} // namespace Zel::Tests::Support
