#include "RaucUpdater/Internal/VersionManager.h"

#include "Support/ModulePlatform.h"
#include "Support/RecordingLogSink.h"
#include "Zel/System/Commons/ArgumentException.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{
namespace
{

using Services::SoftwareUpdate::ResultCode;
using Services::SoftwareUpdate::SoftwareVersionFileType;
using System::Commons::ArgumentException;
using System::Commons::Diagnostics::Logging::LogLevel;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Type = SoftwareVersionFileType;
using Version = VersionManager::SoftwareVersionType;

/// The version manager on a device whose RAUC is not connected.
class VersionManagerTest : public testing::Test
{
protected:
    void Initialize(const String& settingsElements = "")
    {
        System::Commons::Xml::XmlConfigDocument(Settings::RaucUpdaterSettings::XmlRootElement, settings)
            .Load(platform.WriteSettings(settingsElements));
        manager.Initialize(platform.status, desktopBusManager, platform.deviceInfo, settings);
    }

    [[nodiscard]] std::vector<String> GetLog(LogLevel level = LogLevel::Trace) const
    {
        return log->GetLinesOf("VersionManager", level);
    }

    [[nodiscard]] Version ReadCurrent(ResultCode expected = ResultCode::Ok)
    {
        Version version;
        EXPECT_EQ(manager.GetSoftwareVersion(Type::Current, version), expected);
        return version;
    }

    Tests::Support::ModulePlatform platform;
    const Tests::Support::RecordingLog log;
    Settings::RaucUpdaterSettings settings;
    std::shared_ptr<DesktopBus::DesktopBusManager> desktopBusManager =
        std::make_shared<DesktopBus::DesktopBusManager>();
    VersionManager manager;
};

TEST_F(VersionManagerTest, TakesItsFactsFromTheDevice)
{
    Initialize("<ChangeLogReference>https://corvane.example/{0}/log</ChangeLogReference>");

    EXPECT_TRUE(manager.IsInitialized());
    EXPECT_EQ(manager.GetRaucComponentId(), "Controller");
    EXPECT_EQ(manager.GetSoftwareManufacturer(), "CORVANE SYSTEMS GmbH & Co. KG");
    const Version current = ReadCurrent();
    EXPECT_EQ(current.softwareManufacturer, "CORVANE SYSTEMS GmbH & Co. KG");
    EXPECT_EQ(current.softwareManufacturerUri, platform.ManufacturerUri);
    EXPECT_EQ(current.softwareRevision, "1.0.0.0");
    EXPECT_EQ(current.releaseDate, DateTime::FromIso8601String("2026-11-21T06:59:33"));
    EXPECT_EQ(current.changeLogReference, "https://corvane.example/1234567/log");
    EXPECT_THAT(current.patchIdentifiers, IsEmpty());
    EXPECT_THAT(GetLog(), ElementsAre("debug VersionManager: Read current version. Attempt: 1"));
}

TEST_F(VersionManagerTest, SettingsStandAsWrittenAndSpareTheDeviceQueries)
{
    Initialize("<Manufacturer>Corvane Systems</Manufacturer>"
               "<ChangeLogReference>https://corvane.example/log</ChangeLogReference>");

    EXPECT_EQ(manager.GetSoftwareManufacturer(), "Corvane Systems");
    EXPECT_EQ(ReadCurrent().changeLogReference, "https://corvane.example/log");
    const auto queries = platform.deviceInfo->TakeQueries();
    EXPECT_THAT(queries, testing::Contains("General.ArticleName"));
    EXPECT_THAT(queries, testing::Not(testing::Contains("General.ArticleNumber")));
    EXPECT_THAT(queries, testing::Not(testing::Contains("General.VendorName")));
}

TEST_F(VersionManagerTest, EveryMissingFactIsLoggedAndLeavesItUninitialized)
{
    platform.deviceInfo->Set("General.ArticleName", Variant());
    platform.deviceInfo->Set("General.VendorName", Variant());
    platform.deviceInfo->Set("General.ArticleNumber", Variant());
    Initialize("<ChangeLogReference>{0}</ChangeLogReference>");

    EXPECT_FALSE(manager.IsInitialized());
    EXPECT_THAT(GetLog(),
                ElementsAre("error VersionManager: Failed to get ArticleName from IDeviceInfoService",
                            "error VersionManager: Failed to get VendorName from IDeviceInfoService",
                            "error VersionManager: Failed to get ArticleNumber from IDeviceInfoService"));
}

TEST_F(VersionManagerTest, AChangeLogReferenceThatCannotBeFormattedBecomesEmpty)
{
    Initialize("<ChangeLogReference>{0} {1}</ChangeLogReference>");
    EXPECT_TRUE(manager.IsInitialized());
    EXPECT_TRUE(ReadCurrent().changeLogReference.IsEmpty());
}

TEST_F(VersionManagerTest, WithoutDeviceInfoItIsInitializedAndKnowsNoVersion)
{
    manager.Initialize(platform.status, desktopBusManager, nullptr, settings);
    EXPECT_TRUE(manager.IsInitialized());
    static_cast<void>(ReadCurrent(ResultCode::OperationFailed));

    VersionManager withoutRauc;
    withoutRauc.Initialize(platform.status, nullptr, platform.deviceInfo, settings);
    EXPECT_TRUE(withoutRauc.IsInitialized());
    Version version;
    EXPECT_EQ(withoutRauc.GetSoftwareVersion(Type::Fallback, version), ResultCode::OperationFailed);
    String slot;
    EXPECT_FALSE(withoutRauc.GetBootedOrPrimarySlot(slot));
}

TEST_F(VersionManagerTest, ReadsTheCurrentVersionAtMostFiveTimesAndNeverAgainOnceKnown)
{
    Initialize();
    platform.deviceInfo->Set("General.Firmware.VersionPatch", Variant());
    for (int attempt = 1; attempt <= 5; ++attempt)
    {
        log->Clear();
        static_cast<void>(ReadCurrent(ResultCode::OperationFailed));
        const String text = std::to_string(attempt);
        EXPECT_THAT(GetLog(),
                    ElementsAre("debug VersionManager: Read current version. Attempt: " + text,
                                "error VersionManager: Failed to read current version. Attempt: " + text));
    }
    platform.deviceInfo->SetFirmwareVersion(1, 2, 3, 4);
    static_cast<void>(platform.deviceInfo->TakeQueries());
    log->Clear();
    manager.ResetCache(Type::Current);
    static_cast<void>(ReadCurrent(ResultCode::OperationFailed));
    EXPECT_THAT(GetLog(), IsEmpty());
    EXPECT_THAT(platform.deviceInfo->TakeQueries(), IsEmpty());
}

TEST_F(VersionManagerTest, AMissingBuildTimeIsCachedAndAnUnreadableOneIsReadAgain)
{
    Initialize();
    platform.deviceInfo->Set("General.Firmware.BuildTime", "soon");
    EXPECT_EQ(ReadCurrent().releaseDate, DateTime(0, DateTimeKind::Utc));
    EXPECT_THAT(GetLog(LogLevel::Error),
                ElementsAre(testing::StartsWith(
                    "error VersionManager: Failed to parse release date 2026-11-21Tsoon. Zel::Exception: ")));
    platform.deviceInfo->Set("General.Firmware.BuildTime", Variant());
    log->Clear();
    EXPECT_EQ(ReadCurrent().softwareRevision, "1.0.0.0");
    EXPECT_THAT(GetLog(),
                ElementsAre("debug VersionManager: Read current version. Attempt: 2",
                            "error VersionManager: Failed to read release date of current version."));
    platform.deviceInfo->SetFirmwareVersion(9, 9, 9, 9);
    EXPECT_EQ(ReadCurrent().softwareRevision, "1.0.0.0") << "cached although the date is missing";
    manager.ResetCache(Type::Current);
    EXPECT_EQ(ReadCurrent().softwareRevision, "9.9.9.9");
}

TEST_F(VersionManagerTest, AnUnknownTypeIsNotSupportedAndResetsTheRecord)
{
    Initialize();
    Version version;
    version.softwareRevision = "left over";
    EXPECT_EQ(manager.GetSoftwareVersion(static_cast<Type>(3), version), ResultCode::NotSupported);
    EXPECT_TRUE(version.softwareRevision.IsEmpty());
    EXPECT_EQ(version.releaseDate, DateTime(0, DateTimeKind::Utc));
    manager.ResetCache(static_cast<Type>(3));
    EXPECT_THAT(GetLog(),
                ElementsAre("error VersionManager: Unknown SoftwareVersionFileType: 3",
                            "debug VersionManager: Unable to reset cache: Unknown SoftwareVersionFileType"));
}

TEST_F(VersionManagerTest, TextsOf512CharactersThrowAnd511Pass)
{
    Initialize("<Manufacturer>" + String(511, 'm') + "</Manufacturer>");
    EXPECT_EQ(ReadCurrent().softwareManufacturer, String(511, 'm'));
    Initialize("<Manufacturer>" + String(512, 'm') + "</Manufacturer>");
    EXPECT_THROW(static_cast<void>(ReadCurrent()), ArgumentException);
    Initialize("<Manufacturer>Corvane</Manufacturer>");
    manager.ResetCache(Type::Current);
    platform.deviceInfo->Set("General.Firmware.VersionMajor", String(506, '1'));
    EXPECT_THROW(static_cast<void>(ReadCurrent()), ArgumentException);
}

TEST_F(VersionManagerTest, ComparesUriThenRevisionThenPatchesAndNothingElse)
{
    struct Row
    {
        std::function<void(Version&)> change;
        ResultCode result;
        std::vector<String> log;
    };

    Initialize();
    const Version current = ReadCurrent();
    const std::vector<Row> rows = {
        {[](Version& v)
         {
             v.softwareManufacturer = "other";
             v.releaseDate = DateTime();
             v.changeLogReference = "other";
         },
         ResultCode::Ok,
         {}},
        {[](Version& v)
         {
             v.softwareManufacturerUri = "x";
             v.softwareRevision = "2";
         },
         ResultCode::NotFound,
         {"debug VersionManager: ManufacturerUri mismatch (type=Current): Actual=https://corvane.example ; "
          "Expected=x"}},
        {[](Version& v) { v.softwareRevision = "2"; },
         ResultCode::NotFound,
         {"trace VersionManager: SoftwareRevision mismatch (type=Current): Actual=1.0.0.0 ; Expected=2"}},
        {[](Version& v) { v.patchIdentifiers = {"a"}; },
         ResultCode::NotFound,
         {"debug VersionManager: PatchIdentifiers size mismatch"}}};
    for (const Row& row : rows)
    {
        Version expected = current;
        row.change(expected);
        log->Clear();
        EXPECT_EQ(manager.CompareVersion(Type::Current, expected), row.result);
        EXPECT_EQ(GetLog(), row.log);
    }
    EXPECT_EQ(manager.CompareVersion(static_cast<Type>(7), current), ResultCode::NotSupported);
}

TEST_F(VersionManagerTest, RefusesWhatIsNoBundleFileAndTouchesNothing)
{
    Initialize();
    const String bundle = platform.folder.Write("delivered", "bundle");
    String message = "left over";
    EXPECT_EQ(manager.SetSoftwarePackage(Type::Fallback, bundle, message), ResultCode::NotSupported);
    EXPECT_EQ(message, "Unsupported file type Fallback");
    EXPECT_EQ(manager.SetSoftwarePackage(static_cast<Type>(9), bundle, message), ResultCode::NotSupported);
    EXPECT_EQ(message, "Unsupported file type 9");
    EXPECT_EQ(manager.SetSoftwarePackage(Type::Pending, bundle + "x", message), ResultCode::NotFound);
    EXPECT_EQ(message, "The file does not exist.");
    EXPECT_EQ(manager.SetSoftwarePackage(Type::Pending, platform.folder.GetPath(), message),
              ResultCode::InvalidArgument);
    EXPECT_EQ(message, "The file is not a regular file.");
    EXPECT_EQ(manager.GetSoftwarePackage(Type::Pending, bundle), ResultCode::NotSupported);
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("delivered", "settings.xml"));
}

TEST_F(VersionManagerTest, ABundleThatCannotBeTransferredOrVerifiedIsRefused)
{
    platform.folder.Write("pending.raucb.part", "left half verified");
    platform.folder.Write("pending.raucb.part.copy", "left half transferred");
    Initialize();
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));

    String message;
    EXPECT_EQ(
        manager.SetSoftwarePackage(Type::Pending, platform.folder.Write("delivered", "bundle"), message),
        ResultCode::InvalidArgument);
    EXPECT_EQ(message, "The verification of the software package failed.");
    EXPECT_THAT(GetLog(),
                ElementsAre("info VersionManager: Verify pending version.",
                            "error VersionManager: The verification of the software package failed."));
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
}

TEST_F(VersionManagerTest, APendingBundleThatRaucCannotReadIsDeleted)
{
    Initialize();
    platform.folder.Write("pending.raucb", "bundle");
    Version version;
    EXPECT_EQ(manager.GetSoftwareVersion(Type::Pending, version), ResultCode::InvalidArgument);
    EXPECT_THAT(GetLog(), ElementsAre("debug VersionManager: Read pending version.",
                                      "error VersionManager: Failed to read pending version info.",
                                      "info VersionManager: Delete invalid software package " +
                                          platform.GetPendingPath()));
    EXPECT_EQ(manager.GetSoftwareVersion(Type::Pending, version), ResultCode::NotFound);
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
}

TEST_F(VersionManagerTest, ReadsTheFallbackVersionAtMostFiveTimesUntilItsCacheIsReset)
{
    Initialize();
    Version version;
    for (int attempt = 1; attempt <= 6; ++attempt)
    {
        EXPECT_EQ(manager.GetSoftwareVersion(Type::Fallback, version), ResultCode::OperationFailed);
    }
    EXPECT_THAT(GetLog(), SizeIs(10));
    EXPECT_EQ(GetLog().back(), "warning VersionManager: Failed to read fallback version. Maybe there is no "
                               "other valid slot. Attempt: 5");
    manager.ResetCache(Type::Fallback);
    EXPECT_EQ(manager.GetSoftwareVersion(Type::Fallback, version), ResultCode::OperationFailed);
    EXPECT_THAT(GetLog(), SizeIs(12));
}

/// What is saved before an installation when no slot is known.
struct UnknownSlotRow
{
    const char* name;
    const char* settings;
    std::uint32_t confirmationTimeout;
    ResultCode result;
    std::vector<String> log;
    std::vector<String> calls;
};

class UnknownSlotTest : public VersionManagerTest, public testing::WithParamInterface<UnknownSlotRow>
{
};

TEST_P(UnknownSlotTest, SaveVersionInfoFollowsTheSettings)
{
    const UnknownSlotRow& row = GetParam();
    Initialize(row.settings);
    platform.status->SetConfirmationTimeout(row.confirmationTimeout);
    Version target;
    target.softwareRevision = "1.0.0.0";
    EXPECT_EQ(manager.SaveVersionInfo(target), row.result);
    EXPECT_EQ(GetLog(LogLevel::Warning), row.log);
    EXPECT_EQ(platform.status->GetCalls(), row.calls);
}

const String SaveTarget = "WriteProperty TargetSoftwareRevision=1.0.0.0";
const String SaveSlot = "WriteProperty InstallerSlotName=";
const String ConfirmText =
    "Booted slot is not available. ConfirmationTimeout must be set to 0 to proceed with "
    "the installation.";

INSTANTIATE_TEST_SUITE_P(
    Settings, UnknownSlotTest,
    testing::Values(
        UnknownSlotRow{"Required",
                       "",
                       0,
                       ResultCode::OperationFailed,
                       {"error VersionManager: Failed to get neither booted nor primary slot."},
                       {SaveTarget, "SetMessage 'Failed to get neither booted nor primary slot.'", SaveSlot}},
        UnknownSlotRow{
            "Confirmed",
            "<ValidateBootedSlot fallbackOnPrimary='false'>false</ValidateBootedSlot>",
            60,
            ResultCode::BootedSlotUnavailable,
            {"warning VersionManager: Failed to get booted slot.", "error VersionManager: " + ConfirmText},
            {SaveTarget, "SetMessage 'Failed to get booted slot.'", SaveSlot,
             "SetMessage '" + ConfirmText + "'"}},
        UnknownSlotRow{
            "Unconfirmed",
            "<ValidateBootedSlot fallbackOnPrimary='false'>false</ValidateBootedSlot>",
            0,
            ResultCode::Ok,
            {"warning VersionManager: Failed to get booted slot.",
             "warning VersionManager: The updater won't be able to verify that the installation is "
             "successful if the current version and target version are equal."},
            {SaveTarget, "SetMessage 'Failed to get booted slot.'", SaveSlot}}),
    [](const auto& row) { return row.param.name; });

TEST_F(VersionManagerTest, SaveVersionInfoFailsWhereThePropertiesCannotBeSaved)
{
    Initialize();
    platform.status->Refuse("WriteProperty TargetSoftwareRevision");
    EXPECT_EQ(manager.SaveVersionInfo(Version()), ResultCode::OperationFailed);
    EXPECT_THAT(platform.status->GetCalls(), ElementsAre("WriteProperty TargetSoftwareRevision="));

    platform.status->ClearCalls();
    platform.status->Refuse("WriteProperty InstallerSlotName");
    EXPECT_EQ(manager.SaveVersionInfo(Version()), ResultCode::OperationFailed);
    EXPECT_EQ(platform.status->GetCalls().back(), "SetMessage 'Failed to save booted slot name.'");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
