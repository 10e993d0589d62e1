#include "RaucUpdater/Internal/Security/SecurityNotifications.h"

#include "Support/ModulePlatform.h"
#include "Support/RecordingLogSink.h"
#include "Zel/Exception.h"
#include "Zel/Singleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
{
namespace
{

using System::Nm::INotificationManager;
using System::Nm::NotificationId;
using testing::ElementsAre;

const String Prefix = "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.";

/// Records what is registered and unregistered, and cannot unregister.
class StubbornManager : public INotificationManager
{
public:
    [[nodiscard]] NotificationId Register(const String& name, const String& /*sender*/,
                                          System::Nm::Severity severity,
                                          const std::type_info& /*payloadType*/) override
    {
        calls.push_back("register " + name + " " + std::to_string(static_cast<int>(severity)));
        return static_cast<NotificationId>(calls.size());
    }

    void Unregister(NotificationId id) override
    {
        calls.push_back("unregister " + std::to_string(id));
        if (id == 1)
        {
            throw Exception("in use");
        }
        throw std::runtime_error("broken");
    }

    void Send(NotificationId /*id*/, const DateTime& /*timestamp*/,
              const System::Nm::INotificationPayload& /*payload*/) override
    {
    }

    std::vector<String> calls;
};

String GetFailure(const std::function<void()>& action)
{
    try
    {
        action();
    }
    catch (const Exception& exception)
    {
        return exception.GetMessage();
    }
    return "nothing";
}

class SecurityNotificationsTest : public testing::Test
{
protected:
    void TearDown() override { SecurityNotifications::DestroyInstance(); }

    Tests::Support::ModulePlatform platform;
};

TEST_F(SecurityNotificationsTest, SendsBothOutcomesWithTheirSeverity)
{
    SecurityNotifications::CreateInstance();
    const DateTime begin = DateTime::GetUtcNow();
    SecurityNotifications::SendInstallationSucceededNotification("2.0.0.0");
    SecurityNotifications::SendInstallationFailedNotification("2.0.0.0", "no {0} space");
    SecurityNotifications::SendInstallationFailedNotification("unknown", "");

    EXPECT_THAT(platform.notifications->GetLines(),
                ElementsAre("Information " + Prefix +
                                "Succeeded (Software Update): Installation of firmware package "
                                "(version: 2.0.0.0) successful.",
                            "Error " + Prefix +
                                "Failed (Software Update): Failed to install firmware package (version: "
                                "2.0.0.0). Reason: no {0} space.",
                            "Error " + Prefix +
                                "Failed (Software Update): Failed to install firmware package (version: "
                                "unknown). Reason: ."));
    const DateTime sent = platform.notifications->GetNotifications().front().timestamp;
    EXPECT_GE(sent.GetTicks(), begin.GetTicks());
    EXPECT_LE(sent.GetTicks(), DateTime::GetUtcNow().GetTicks());
}

TEST_F(SecurityNotificationsTest, TheFirstCreatesTheSingletonAndAnyDestroysItOnce)
{
    SecurityNotifications::CreateInstance();
    const auto* first = Singleton<SecurityNotifications>::TryGetInstance();
    SecurityNotifications::CreateInstance();
    EXPECT_EQ(Singleton<SecurityNotifications>::TryGetInstance(), first);

    SecurityNotifications::DestroyInstance();
    SecurityNotifications::DestroyInstance();
    EXPECT_EQ(GetFailure([] { SecurityNotifications::SendInstallationSucceededNotification("1"); }),
              "Singleton instance of type '" + TypeName<SecurityNotifications>() + "' was not created yet!");
    EXPECT_THAT(platform.notifications->GetLines(), ElementsAre());

    SecurityNotifications::CreateInstance();
    EXPECT_TRUE(Singleton<SecurityNotifications>::HasInstance()) << "the names are free again";
}

TEST_F(SecurityNotificationsTest, CreationNeedsAnAppDomainWithANotificationManager)
{
    platform.appDomain.SetSingleton<INotificationManager>(nullptr);
    EXPECT_EQ(GetFailure(&SecurityNotifications::CreateInstance),
              "AppDomain Singleton instance of type 'Zel::System::Nm::INotificationManager' was not created "
              "yet!");
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_EQ(GetFailure(&SecurityNotifications::CreateInstance),
              "Singleton instance of type 'Zel::AppDomain' was not created yet!");
    EXPECT_FALSE(Singleton<SecurityNotifications>::HasInstance());
}

TEST_F(SecurityNotificationsTest, UnregistersFailedFirstAndLogsWhatCannotBeUnregistered)
{
    const auto manager = std::make_shared<StubbornManager>();
    platform.appDomain.SetSingleton<INotificationManager>(manager);
    SecurityNotifications::CreateInstance();
    const Tests::Support::RecordingLog log;
    SecurityNotifications::DestroyInstance();

    EXPECT_THAT(manager->calls,
                ElementsAre("register " + Prefix + "Succeeded 1", "register " + Prefix + "Failed 3",
                            "unregister 2", "unregister 1"));
    ASSERT_EQ(log->GetLines().size(), 2U);
    EXPECT_THAT(log->GetLines()[0], testing::StartsWith("error "));
    EXPECT_THAT(
        log->GetLines()[0],
        testing::EndsWith("Caught exception while unregistering notificationName=" + Prefix + "Failed"));
    EXPECT_THAT(log->GetLines()[1],
                testing::EndsWith("Caught exception while unregistering notificationName=" + Prefix +
                                  "Succeeded: Zel::Exception: in use"));
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
