#include "Zel/System/Nm/NotificationManager.h"

#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <utility>

namespace Zel::System::Nm
{

using Commons::ArgumentException;
using Core::Format;

INotificationSink::~INotificationSink() = default;

NotificationManager::~NotificationManager() = default;

void NotificationManager::AddSink(std::shared_ptr<INotificationSink> sink)
{
    const std::lock_guard lock(sendMutex);
    sinks.push_back(std::move(sink));
}

NotificationId NotificationManager::Register(const String& notificationName, const String& senderName,
                                             Severity severity, const std::type_info& payloadType)
{
    if (notificationName.empty())
    {
        throw ArgumentException("notificationName", "Invalid notification name");
    }
    const std::lock_guard lock(mutex);
    if (std::any_of(entries.begin(), entries.end(),
                    [&](const auto& entry) { return entry.second.name == notificationName; }))
    {
        throw ArgumentException("notificationName", "Duplicate notification name");
    }
    entries.emplace(lastId + 1, Entry{notificationName, senderName, severity, payloadType});
    return ++lastId;
}

void NotificationManager::Unregister(NotificationId id)
{
    const std::lock_guard lock(mutex);
    if (entries.erase(id) == 0)
    {
        throw ArgumentException("id", "Notification is not registered");
    }
}

void NotificationManager::Send(NotificationId id, const DateTime& timestamp,
                               const INotificationPayload& payload)
{
    const Entry entry = GetEntry(id);
    if (entry.payloadType != typeid(payload))
    {
        throw ArgumentException("payload", "Payload is not of the registered type");
    }
    const Notification notification{entry.name, entry.sender, entry.severity, timestamp,
                                    payload.GetMessage()};
    std::vector<String> failures;
    {
        const std::lock_guard lock(sendMutex);
        for (const auto& sink : sinks)
        {
            WriteTo(*sink, notification, failures);
        }
    }
    if (!failures.empty())
    {
        throw Exception(Format("Failed to deliver notification {0}: {1}", entry.name, Join(failures, "; ")));
    }
}

void NotificationManager::WriteTo(INotificationSink& sink, const Notification& notification,
                                  std::vector<String>& failures)
{
    try
    {
        sink.Write(notification);
    }
    catch (...)
    {
        failures.push_back(DescribeCurrentException());
    }
}

NotificationManager::Entry NotificationManager::GetEntry(NotificationId id) const
{
    const std::lock_guard lock(mutex);
    const auto found = entries.find(id);
    if (found == entries.end())
    {
        throw ArgumentException("id", "Notification is not registered");
    }
    return found->second;
}

} // namespace Zel::System::Nm
