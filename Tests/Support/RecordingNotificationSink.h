#pragma once

#include "Zel/String.h"
#include "Zel/System/Nm/NotificationManager.h"

#include <mutex>
#include <vector>

namespace Zel::Tests::Support
{

/// Keeps the notifications that a manager delivers. Thread-safe.
class RecordingNotificationSink : public System::Nm::INotificationSink
{
public:
    RecordingNotificationSink() = default;
    ~RecordingNotificationSink() override;
    RecordingNotificationSink(const RecordingNotificationSink&) = delete;
    RecordingNotificationSink& operator=(const RecordingNotificationSink&) = delete;

    void Write(const System::Nm::Notification& notification) override;

    /// Returns those since the last `Clear`, in order.
    [[nodiscard]] std::vector<System::Nm::Notification> GetNotifications() const;

    /// Returns them as lines of the form "{severity} {name} ({sender}): {message}".
    [[nodiscard]] std::vector<String> GetLines() const;

    void Clear();

private:
    mutable std::mutex mutex;
    std::vector<System::Nm::Notification> notifications;
};

} // namespace Zel::Tests::Support
