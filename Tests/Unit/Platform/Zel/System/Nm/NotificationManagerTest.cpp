#include "Zel/System/Nm/NotificationManager.h"

#include "Support/RecordingLog.h"
#include "Support/Thrown.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Nm/NotificationRegistration.h"
#include "Zel/System/NmPayload/Security/SecurityNotificationPayload.h"

#include <gtest/gtest.h>

namespace Zel::System::Nm
{

using Commons::ArgumentException;
using Lines = std::vector<String>;
using NmPayload::Security::SecurityNotificationPayload;
using Registration = NotificationRegistration<SecurityNotificationPayload>;

/// A sink and a manager that refuse what they are asked for.
struct Stubborn : INotificationSink, NotificationManager
{
    void Write(const Notification&) override { throw Exception("store is full"); }

    void Unregister(NotificationId) override { throw Exception("not now"); }
};

/// Keeps what is delivered.
struct Sink : INotificationSink
{
    void Write(const Notification& told) override
    {
        lines.push_back(String(ToString(told.severity)) + " " + told.name + " (" + told.sender +
                        "): " + told.message);
        timestamp = told.timestamp;
    }

    Lines lines;
    DateTime timestamp{0, DateTimeKind::Utc};
};

struct NotificationManagerTest : testing::Test
{
    NotificationManagerTest() { manager.AddSink(sink); }

    const std::shared_ptr<Sink> sink = std::make_shared<Sink>();
    NotificationManager manager;
};

TEST_F(NotificationManagerTest, DeliversToEverySinkAndThenTellsOfOneThatThrew)
{
    manager.AddSink(std::make_shared<Stubborn>());
    manager.AddSink(sink);
    const DateTime timestamp(42, DateTimeKind::Utc);
    const Registration succeeded("Update.Succeeded", "Software Update", Severity::Information, manager);
    EXPECT_EQ(
        Tests::Support::GetThrown([&] { succeeded.SendNotificationWithTimestamp(timestamp, "done"); }),
        "Zel::Exception: Failed to deliver notification Update.Succeeded: Zel::Exception: store is full");
    const String line = "Information Update.Succeeded (Software Update): done";
    EXPECT_EQ(sink->lines, (Lines{line, line}));
    EXPECT_EQ(sink->timestamp, timestamp);
}

TEST_F(NotificationManagerTest, RefusesNamesAndIdsThatAreNotItsOwn)
{
    const NotificationId id = manager.Register("Taken", "One", Severity::Warning, typeid(int));
    EXPECT_THROW(Registration("", "Two", Severity::Error, manager), ArgumentException);
    EXPECT_THROW(Registration("Taken", "Two", Severity::Error, manager), ArgumentException);
    EXPECT_THROW(manager.Send(id, {}, SecurityNotificationPayload("text")), ArgumentException);
    EXPECT_THROW(manager.Send(id + 1, {}, SecurityNotificationPayload("text")), ArgumentException);
    EXPECT_EQ(sink->lines, Lines{});
}

TEST_F(NotificationManagerTest, DisposeUnregistersOnceAndFreesTheNameAndLogsARefusal)
{
    Registration registration("Name", "First", Severity::Information, manager);
    registration.Dispose();
    EXPECT_THROW(registration.SendNotificationWithTimestamp({}, "text"), ArgumentException);
    const Registration next("Name", "Second", Severity::Information, manager);
    registration.Dispose();
    next.SendNotificationWithTimestamp({}, "text");
    EXPECT_EQ(sink->lines, Lines{"Information Name (Second): text"});
    const Tests::Support::RecordingLog log;
    Stubborn stubborn;
    Registration("Name", "Sender", Severity::Error, stubborn).Dispose();
    EXPECT_EQ(log.GetLines(), Lines{"error NotificationRegistration<SecurityNotificationPayload>: Caught "
                                    "exception while unregistering "
                                    "notificationName=Name: Zel::Exception: not now"});
}

} // namespace Zel::System::Nm
