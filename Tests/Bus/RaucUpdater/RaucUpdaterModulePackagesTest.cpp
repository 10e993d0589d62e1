#include "Bus/RaucUpdater/RaucUpdaterModuleFixture.h"

#include <filesystem>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
{
namespace
{

using testing::Contains;
using testing::ElementsAre;
using ScriptedSlot = Tests::Support::ScriptedSlot;

/// Which bundle is pending, with RAUC asked.
class ModulePackagesTest : public RaucUpdaterModuleFixture
{
protected:
    [[nodiscard]] std::vector<String> GetVersionLog(LogLevel level = LogLevel::Info) const
    {
        return log->GetLinesOf("VersionManager", level);
    }

    /// Returns what "SetSoftwarePackage" says about a bundle with this version and compatible.
    String GetRefusal(const String& version, const String& compatible, ResultCode expected)
    {
        rauc.AddBundle(platform.GetPendingPath() + ".part", version, compatible);
        String message;
        EXPECT_EQ(
            module->SetSoftwarePackage(Id, Type::Pending, platform.folder.Write("delivered", "x"), message),
            expected);
        return message;
    }

    [[nodiscard]] std::size_t CountCalls(const String& member) const
    {
        std::size_t count = 0;
        for (const auto& call : rauc.GetCalls())
        {
            count += call.member == member ? 1U : 0U;
        }
        return count;
    }
};

TEST_F(ModulePackagesTest, AnAcceptedBundleIsPendingWithoutAskingRaucAgain)
{
    CreateModule("<Manufacturer>Corvane</Manufacturer><ChangeLogReference>log</ChangeLogReference>");
    String revision;
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::NotFound);
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    EXPECT_THAT(GetVersionLog(),
                ElementsAre("info VersionManager: Verify pending version.",
                            "info VersionManager: The pending version '3.0.0.0' is accepted."));
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("pending.raucb", "settings.xml"));
    Version version;
    ASSERT_EQ(module->GetSoftwareVersion(Id, Type::Pending, version), ResultCode::Ok);
    EXPECT_EQ(version.softwareRevision, "3.0.0.0");
    EXPECT_EQ(version.softwareManufacturer, "Corvane");
    EXPECT_EQ(version.softwareManufacturerUri, ModulePlatform::ManufacturerUri);
    EXPECT_EQ(version.changeLogReference, "log");
    EXPECT_EQ(version.releaseDate, DateTime(0, DateTimeKind::Utc));
    EXPECT_EQ(CountCalls("Info"), 1U);

    const std::filesystem::path pending(platform.GetPendingPath());
    std::filesystem::last_write_time(pending,
                                     std::filesystem::last_write_time(pending) + std::chrono::seconds(1));
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(CountCalls("Info"), 2U) << "once for the touched file";

    platform.folder.Write("pending.raucb", "");
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(CountCalls("Info"), 4U) << "an empty file is never cached";
}

TEST_F(ModulePackagesTest, ARefusedBundleLeavesTheEarlierOneInPlace)
{
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    log->Clear();
    EXPECT_EQ(GetRefusal("4.0.0.0", "controller", ResultCode::InvalidArgument),
              "The software package is build for the 'controller' and not for the 'Controller'.");
    EXPECT_THAT(
        GetVersionLog(),
        ElementsAre("info VersionManager: Verify pending version.",
                    "error VersionManager: Incompatible file. System expects 'Controller' but is "
                    "'controller'",
                    "error VersionManager: The software package is build for the 'controller' and not for "
                    "the 'Controller'."));
    EXPECT_EQ(GetRefusal(String(512, '4'), "Controller", ResultCode::InvalidArgument),
              "The verification of the software package failed.");
    rauc.SetAnswer("Info", ScriptedAnswer::Refusal("signature verification failed"));
    EXPECT_EQ(GetRefusal("4.0.0.0", "Controller", ResultCode::InvalidArgument),
              "The verification of the software package failed.");

    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("pending.raucb", "settings.xml"));
    String revision;
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(revision, "3.0.0.0");
}

TEST_F(ModulePackagesTest, AVersionOf511CharactersIsAccepted)
{
    CreateModule();
    const String longest(511, '4');
    ASSERT_EQ(Stage(longest), ResultCode::Ok);
    String revision;
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::Ok);
    EXPECT_EQ(revision, longest);
    EXPECT_EQ(Install(longest, 3'600'000), ResultCode::Ok);
}

TEST_F(ModulePackagesTest, ABundleForAnotherSystemIsAcceptedWhereTheSettingsAllowIt)
{
    CreateModule("<ValidateCompatible>false</ValidateCompatible>");
    ASSERT_EQ(Stage("3.0.0.0", "Other"), ResultCode::Ok);
    EXPECT_THAT(GetVersionLog(),
                Contains("warning VersionManager: Incompatible file. System expects 'Controller' "
                         "but is 'Other'"));
}

TEST_F(ModulePackagesTest, EveryBundleIsAcceptedWhileTheSystemIsUnknown)
{
    rauc.SetAnswer("Compatible", ScriptedAnswer::Refusal("no"));
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0", "Other"), ResultCode::Ok);
    EXPECT_THAT(GetVersionLog(),
                ElementsAre("info VersionManager: Verify pending version.",
                            "error VersionManager: Failed to get compatible.",
                            "warning VersionManager: System's compatible is not set and cannot be validated "
                            "against Other.",
                            "info VersionManager: The pending version '3.0.0.0' is accepted."));
}

TEST_F(ModulePackagesTest, APendingBundleForAnotherSystemIsDeletedWhenItIsRead)
{
    CreateModule();
    platform.folder.Write("pending.raucb", "bundle");
    rauc.AddBundle(platform.GetPendingPath(), "3.0.0.0", "Other");
    String revision;
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::InvalidArgument);
    EXPECT_EQ(GetVersionLog().back(),
              "info VersionManager: Delete invalid software package " + platform.GetPendingPath());
    EXPECT_FALSE(HasPendingBundle());
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::NotFound);
}

TEST_F(ModulePackagesTest, APendingVersionThatNoRecordHoldsIsAnError)
{
    CreateModule();
    platform.folder.Write("pending.raucb", "bundle");
    rauc.AddBundle(platform.GetPendingPath(), String(512, '3'));
    String revision;
    EXPECT_EQ(GetRevision(Type::Pending, revision), ResultCode::OperationFailed);
    EXPECT_THAT(GetLog(LogLevel::Error), ElementsAre(testing::StartsWith(
                                             "error RaucUpdaterModule: GetSoftwareVersion: "
                                             "Zel::System::Commons::ArgumentException: Input string is too "
                                             "long")));
}

TEST_F(ModulePackagesTest, TheFallbackVersionIsReadAgainUntilThereIsOneAndThenKept)
{
    rauc.SetSlots({ScriptedSlot("rootfs.0", "A", "booted").Written("2.0.0.0")});
    CreateModule();
    String revision;
    for (int attempt = 0; attempt < 4; ++attempt)
    {
        EXPECT_EQ(GetRevision(Type::Fallback, revision), ResultCode::OperationFailed);
    }
    rauc.SetSlots({ScriptedSlot("rootfs.1", "B", "inactive").Written("1.0.0.0")});
    EXPECT_EQ(GetRevision(Type::Fallback, revision), ResultCode::Ok);
    rauc.SetSlots({});
    EXPECT_EQ(GetRevision(Type::Fallback, revision), ResultCode::Ok);
    EXPECT_EQ(revision, "1.0.0.0");
    EXPECT_EQ(CountCalls("GetSlotStatus"), 5U);
}

TEST_F(ModulePackagesTest, ThePrimarySlotIsSavedWhereTheBootedOneIsUnknown)
{
    rauc.SetSlots({});
    rauc.SetAnswer("InstallBundle", ScriptedAnswer::Refusal("no"));
    CreateModule();
    ASSERT_EQ(Stage("3.0.0.0"), ResultCode::Ok);
    EXPECT_EQ(Install("3.0.0.0"), ResultCode::OperationFailed);
    EXPECT_EQ(platform.status->GetProperty(Id, "InstallerSlotName"), "rootfs.0");
    EXPECT_EQ(platform.status->GetProperty(Id, "TargetSoftwareRevision"), "3.0.0.0");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater
