#include "RaucUpdater/Internal/Security/SecurityNotifications.h"

#include "Support/ModulePlatform.h"
#include "Zel/Exception.h"
#include "Zel/Singleton.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
{
namespace
{

const String Prefix = "Security.Zel.Services.SoftwareUpdate.FirmwareUpdate.Installation.";

TEST(SecurityNotificationsTest, SendsBothOutcomesOfTheOneSingletonAndFreesTheirNames)
{
    Tests::Support::ModulePlatform platform;
    for (int life = 0; life < 2; ++life)
    {
        SecurityNotifications::CreateInstance();
        const auto* first = Singleton<SecurityNotifications>::TryGetInstance();
        SecurityNotifications::CreateInstance();
        EXPECT_EQ(Singleton<SecurityNotifications>::TryGetInstance(), first);
        SecurityNotifications::SendInstallationSucceededNotification("2.0.0.0");
        SecurityNotifications::SendInstallationFailedNotification("2.0.0.0", "no {0} space");
        SecurityNotifications::DestroyInstance();
        SecurityNotifications::DestroyInstance();
        EXPECT_THROW(SecurityNotifications::SendInstallationSucceededNotification("1"), Exception);
    }
    const String succeeded = "Information " + Prefix +
                             "Succeeded (Software Update): Installation of firmware package (version: "
                             "2.0.0.0) successful.";
    const String failed = "Error " + Prefix +
                          "Failed (Software Update): Failed to install firmware package (version: 2.0.0.0). "
                          "Reason: no {0} space.";
    EXPECT_THAT(platform.notifications->GetLines(),
                testing::ElementsAre(succeeded, failed, succeeded, failed));
    const DateTime sent = platform.notifications->GetNotifications().back().timestamp;
    EXPECT_LT(DateTime::GetUtcNow().GetTicks() - sent.GetTicks(), 100'000'000) << "less than 10 s ago";
}

TEST(SecurityNotificationsTest, CreationNeedsAnAppDomainWithANotificationManagerThatTakesBothNames)
{
    Tests::Support::ModulePlatform platform;
    const auto create = [] { SecurityNotifications::CreateInstance(); };
    const auto message = [](const String& text)
    { return testing::ThrowsMessage<Exception>(testing::HasSubstr(text)); };
    const auto id = platform.notificationManager->Register(
        Prefix + "Failed", "test", System::Nm::Severity::Error,
        typeid(System::NmPayload::Security::SecurityNotificationPayload));
    EXPECT_THAT(create, message("Duplicate notification name"));
    platform.notificationManager->Unregister(id);
    EXPECT_NO_THROW(create()) << "the first name was given back";
    SecurityNotifications::DestroyInstance();
    platform.appDomain.SetSingleton<System::Nm::INotificationManager>(nullptr);
    EXPECT_THAT(create, message("AppDomain Singleton instance of type "
                                "'Zel::System::Nm::INotificationManager' was not created yet!"));
    Singleton<AppDomain>::SetInstance(nullptr);
    EXPECT_THAT(create, message("Singleton instance of type 'Zel::AppDomain' was not created yet!"));
    EXPECT_FALSE(Singleton<SecurityNotifications>::HasInstance());
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::Security
