#pragma once

#include "Zel/System/Nm/INotificationManager.h"
#include "Zel/Visibility.h"

#include <map>
#include <memory>
#include <mutex>
#include <typeindex>
#include <vector>

namespace Zel::System::Nm
{

/// One notification that was sent.
struct Notification
{
    String name;
    String sender;
    Severity severity = Severity::Information;
    DateTime timestamp;
    String message;
};

/// Where notifications end: a store, a journal. Called on the sending thread, one notification at a time.
/// What `Write` throws reaches the sender, whose work it may break off: a sink keeps to itself what it can
/// get over.
class ZEL_API INotificationSink
{
public:
    virtual ~INotificationSink();
    virtual void Write(const Notification& notification) = 0;
};

/// Hands each notification to every sink, in the order of the sinks. The process keeps one in its `AppDomain`
/// as `GetSingleton<INotificationManager>()`.
class ZEL_API NotificationManager : public INotificationManager
{
public:
    NotificationManager() = default;
    ~NotificationManager() override;
    NotificationManager(const NotificationManager&) = delete;
    NotificationManager& operator=(const NotificationManager&) = delete;

    /// Sinks are added before the first notification is sent.
    void AddSink(std::shared_ptr<INotificationSink> sink);

    [[nodiscard]] NotificationId Register(const String& notificationName, const String& senderName,
                                          Severity severity, const std::type_info& payloadType) override;
    void Unregister(NotificationId id) override;

    /// A sink that throws does not keep the others from their notification; when all had theirs, `Exception`
    /// is thrown with what the sinks threw.
    void Send(NotificationId id, const DateTime& timestamp, const INotificationPayload& payload) override;

private:
    struct Entry
    {
        String name;
        String sender;
        Severity severity;
        std::type_index payloadType;
    };

    [[nodiscard]] Entry GetEntry(NotificationId id) const;
    /// Adds the reason of a failure to `failures`.
    static void WriteTo(INotificationSink& sink, const Notification& notification,
                        std::vector<String>& failures);

    mutable std::mutex mutex;
    std::mutex sendMutex;
    NotificationId lastId = 0;
    std::map<NotificationId, Entry> entries;
    std::vector<std::shared_ptr<INotificationSink>> sinks;
};

} // namespace Zel::System::Nm
