#include "Zel/System/Nm/NotificationManager.h"

#include "Support/RecordingLogSink.h"
#include "Support/RecordingNotificationSink.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Nm/NotificationRegistration.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <stdexcept>

namespace Zel::System::Nm
{

namespace
{

using Commons::ArgumentException;
using Lines = std::vector<String>;
using NmPayload::Security::SecurityNotificationPayload;
using Tests::Support::RecordingLog;
using Tests::Support::RecordingNotificationSink;

using Registration = NotificationRegistration<SecurityNotificationPayload>;

class OtherPayload : public INotificationPayload
{
public:
    [[nodiscard]] const String& GetMessage() const noexcept override { return message; }

private:
    String message = "other";
};

class ThrowingSink : public INotificationSink
{
public:
    void Write(const Notification&) override { throw Exception("store is full"); }
};

class NotificationManagerTest : public testing::Test
{
protected:
    NotificationManagerTest() { manager.AddSink(sink); }

    std::shared_ptr<RecordingNotificationSink> sink = std::make_shared<RecordingNotificationSink>();
    NotificationManager manager;
};

TEST_F(NotificationManagerTest, DeliversWhatWasRegisteredAndSent)
{
    const Registration succeeded("Update.Succeeded", "Software Update", Severity::Information, manager);
    const Registration failed("Update.Failed", "Software Update", Severity::Error, manager);
    const DateTime timestamp(42, DateTimeKind::Utc);
    failed.SendNotificationWithTimestamp(timestamp, "no space");
    succeeded.SendNotificationWithTimestamp(timestamp, "done");
    EXPECT_EQ(sink->GetLines(), (Lines{"Error Update.Failed (Software Update): no space",
                                       "Information Update.Succeeded (Software Update): done"}));
    EXPECT_EQ(sink->GetNotifications().front().timestamp, timestamp);
}

TEST_F(NotificationManagerTest, RefusesAnEmptyAndATakenName)
{
    const Registration taken("Update.Failed", "One", Severity::Error, manager);
    EXPECT_THROW(Registration("", "Two", Severity::Error, manager), ArgumentException);
    EXPECT_THROW(Registration("Update.Failed", "Two", Severity::Error, manager), ArgumentException);
    taken.SendNotificationWithTimestamp({}, "text");
    EXPECT_EQ(sink->GetLines(), Lines{"Error Update.Failed (One): text"});
}

TEST_F(NotificationManagerTest, SendRefusesAnUnknownIdAndAnotherPayloadType)
{
    const NotificationId id =
        manager.Register("Name", "Sender", Severity::Warning, typeid(SecurityNotificationPayload));
    EXPECT_THROW(manager.Send(id, {}, OtherPayload()), ArgumentException);
    EXPECT_THROW(manager.Send(id + 1, {}, SecurityNotificationPayload("text")), ArgumentException);
    EXPECT_THROW(manager.Send(0, {}, SecurityNotificationPayload("text")), ArgumentException);
    EXPECT_TRUE(sink->GetLines().empty());
}

TEST_F(NotificationManagerTest, DisposeUnregistersOnceAndFreesTheName)
{
    const RecordingLog log;
    Registration registration("Name", "First", Severity::Information, manager);
    registration.Dispose();
    EXPECT_THROW(registration.SendNotificationWithTimestamp({}, "text"), ArgumentException);
    const Registration next("Name", "Second", Severity::Information, manager);
    registration.Dispose();
    next.SendNotificationWithTimestamp({}, "text");
    EXPECT_EQ(sink->GetLines(), Lines{"Information Name (Second): text"});
    EXPECT_EQ(log->GetLines(), Lines{});
}

TEST_F(NotificationManagerTest, TheDestructorUnregisters)
{
    std::optional<Registration> registration(std::in_place, "Name", "First", Severity::Information, manager);
    registration.reset();
    EXPECT_NO_THROW(Registration("Name", "Second", Severity::Information, manager));
}

TEST_F(NotificationManagerTest, ASinkThatThrowsIsLoggedAndKeepsNobodyElseFromTheNotification)
{
    const RecordingLog log;
    NotificationManager broken;
    broken.AddSink(std::make_shared<ThrowingSink>());
    broken.AddSink(sink);
    const Registration registration("Name", "Sender", Severity::Warning, broken);
    registration.SendNotificationWithTimestamp({}, "text");
    EXPECT_EQ(sink->GetLines(), Lines{"Warning Name (Sender): text"});
    EXPECT_EQ(log->GetLines(), Lines{"error NotificationManager: Failed to deliver notification Name: "
                                     "Zel::Exception: store is full"});
}

/// A manager that refuses to unregister, by a platform exception or by another one.
class StubbornManager : public NotificationManager
{
public:
    explicit StubbornManager(bool platformException) : platformException(platformException) {}

    void Unregister(NotificationId) override
    {
        if (platformException)
        {
            throw Exception("not now");
        }
        throw std::runtime_error("not now");
    }

private:
    bool platformException;
};

TEST_F(NotificationManagerTest, DisposeLogsARefusalAndDoesNotTryAgain)
{
    const RecordingLog log;
    const String line =
        "error NotificationRegistration<SecurityNotificationPayload>: Caught exception while unregistering "
        "notificationName=Name";
    for (const bool platformException : {true, false})
    {
        StubbornManager stubborn(platformException);
        {
            Registration registration("Name", "Sender", Severity::Error, stubborn);
            registration.Dispose();
        }
        EXPECT_EQ(log->GetLines(), Lines{platformException ? line + ": Zel::Exception: not now" : line});
        log->Clear();
    }
}

} // namespace

} // namespace Zel::System::Nm
