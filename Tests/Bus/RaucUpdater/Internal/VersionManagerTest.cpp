#include "RaucUpdater/Internal/VersionManager.h"

#include "DesktopBus/RaucBusTest.h"
#include "Support/ModulePlatform.h"
#include "Support/TmpfsMount.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <sys/stat.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{
namespace
{

using Services::SoftwareUpdate::ResultCode;
using testing::ElementsAre;
using testing::StartsWith;
using Type = Services::SoftwareUpdate::SoftwareVersionFileType;

/// The version manager with a scripted RAUC, where it is connected.
class VersionManagerTest : public DesktopBus::RaucBusTest
{
protected:
    void Initialize(const String& elements = "", bool isConnected = true)
    {
        using System::Commons::Xml::XmlConfigDocument;
        XmlConfigDocument(settings.XmlRootElement, settings).Load(platform.WriteSettings(elements));
        ASSERT_TRUE(!isConnected || desktopBusManager->Open());
        manager.Initialize(platform.status, desktopBusManager, platform.deviceInfo, settings);
    }

    void SetFact(const String& key, const Variant& value)
    {
        platform.deviceInfo->Set("General.Firmware." + key, value);
    }

    /// Returns the revision, or the result where it is not Ok and the record was reset.
    String Read(Type type)
    {
        version.softwareRevision = "left over";
        const ResultCode result = manager.GetSoftwareVersion(type, version);
        return (result == ResultCode::Ok ? "" : ToString(result)) + version.softwareRevision.ToString();
    }

    /// Delivers a file and returns the result and the message.
    String Stage(const String& path, Type type = Type::Pending)
    {
        String message = "left over";
        const ResultCode result = manager.SetSoftwarePackage(type, path, message);
        return ToString(result) + String(message.empty() ? "" : ": ") + message;
    }

    /// Returns the log since the last time, without the class.
    Lines TakeLog(LogLevel level = LogLevel::Trace)
    {
        Lines lines = log->GetLinesOf("VersionManager", level);
        std::ranges::for_each(lines, [](auto& line) { line.replace(line.find(" VersionManager:"), 16, ""); });
        log->Clear();
        return lines;
    }

    Tests::Support::ModulePlatform platform;
    const String pending = platform.GetPendingPath();
    Settings::RaucUpdaterSettings settings;
    std::shared_ptr<DesktopBus::DesktopBusManager> desktopBusManager =
        std::make_shared<DesktopBus::DesktopBusManager>();
    VersionManager manager;
    VersionManager::SoftwareVersionType version;
};

TEST_F(VersionManagerTest, TakesItsFactsFromTheSettingsAndTheRestFromTheDevice)
{
    const auto describe = [this](const String& reference, const String& elements, const Lines& missing)
    {
        std::ranges::for_each(missing, [this](auto& key) { platform.deviceInfo->Set(key, Variant()); });
        Initialize("<ChangeLogReference>" + reference + "</ChangeLogReference>" + elements);
        const String errors = Join(TakeLog(LogLevel::Error), "; ");
        EXPECT_EQ(manager.IsInitialized(), errors.empty());
        EXPECT_EQ(Read(Type::Current), "1.0.0.0");
        EXPECT_EQ(version.softwareManufacturerUri, platform.ManufacturerUri);
        EXPECT_EQ(version.softwareManufacturer, manager.GetSoftwareManufacturer());
        return manager.GetSoftwareManufacturer() + "; " + version.changeLogReference.ToString() + errors;
    };
    const String vendor = "CORVANE SYSTEMS GmbH & Co. KG; ";
    EXPECT_EQ(describe("{0}/l", "", {}), vendor + "1234567/l");
    EXPECT_EQ(describe("{0}{1}", "", {}), vendor);
    EXPECT_EQ(
        describe("l", "<Manufacturer>M</Manufacturer>", {"General.VendorName", "General.ArticleNumber"}),
        "M; l");
    EXPECT_EQ(manager.GetRaucComponentId(), "Controller");
    settings = Settings::RaucUpdaterSettings();
    EXPECT_EQ(describe("{0}", "", {"General.ArticleName"}),
              "M; {0}error Failed to get ArticleName from IDeviceInfoService; error Failed to get VendorName "
              "from IDeviceInfoService; error Failed to get ArticleNumber from IDeviceInfoService");
}

TEST_F(VersionManagerTest, ReadsTheCurrentVersionAtMostFiveTimesAndNeverAgainOnceKnown)
{
    Initialize();
    SetFact("BuildTime", "soon");
    EXPECT_EQ(Read(Type::Current), "1.0.0.0");
    EXPECT_EQ(version.releaseDate, DateTime(0, DateTimeKind::Utc));
    const String unparsable = "error Failed to parse release date 2026-11-21Tsoon. Zel::Exception: ";
    EXPECT_THAT(TakeLog(LogLevel::Error), ElementsAre(StartsWith(unparsable)));
    SetFact("VersionPatch", Variant());
    EXPECT_EQ(Read(Type::Current), "OperationFailed") << "an unreadable date is not cached";
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read current version. Attempt: 2"});
    SetFact("VersionPatch", 7);
    SetFact("BuildTime", Variant());
    EXPECT_EQ(Read(Type::Current), "1.0.7.0");
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read release date of current version."});
    SetFact("VersionPatch", Variant());
    EXPECT_EQ(Read(Type::Current), "1.0.7.0") << "a missing one is";
    manager.ResetCache(Type::Current);
    EXPECT_EQ(Read(Type::Current) + Read(Type::Current), "OperationFailedOperationFailed");
    SetFact("VersionPatch", 7);
    EXPECT_EQ(Read(Type::Current), "OperationFailed") << "five attempts were all";
    TakeLog();
    manager.ResetCache(static_cast<Type>(3));
    EXPECT_EQ(Read(static_cast<Type>(3)), "NotSupported");
    EXPECT_EQ(TakeLog(), (Lines{"debug Unable to reset cache: Unknown SoftwareVersionFileType",
                                "error Unknown SoftwareVersionFileType: 3"}));
}

TEST_F(VersionManagerTest, OnlyARegularFileIsTakenOrPending)
{
    Initialize();
    const String other = platform.folder.Write("other", "bundle");
    EXPECT_EQ(Stage(pending), "NotFound: The file does not exist.");
    const std::function<void()> makers[] = {[&] { std::filesystem::create_symlink(other, pending); },
                                            [&] { EXPECT_EQ(mkfifo(pending.c_str(), 0600), 0); },
                                            [&] { std::filesystem::create_directory(pending); }};
    for (const auto& make : makers)
    {
        std::filesystem::remove(pending);
        make();
        EXPECT_EQ(Read(Type::Pending), "NotFound");
        EXPECT_EQ(Stage(pending), "InvalidArgument: The file is not a regular file.");
    }
    EXPECT_EQ(Stage(other, Type::Fallback), "NotSupported: Unsupported file type Fallback");
    EXPECT_EQ(Stage(other, static_cast<Type>(9)), "NotSupported: Unsupported file type 9");
    EXPECT_TRUE(rauc.GetCalls().empty() && TakeLog().empty());

    rauc.AddBundle(pending + ".part", "2.0.0.0");
    EXPECT_EQ(Stage(other), "OperationFailed: Failed to move pending software package.");
    std::filesystem::create_directory(pending + ".part.copy");
    Initialize();
    EXPECT_THAT(TakeLog(LogLevel::Error),
                ElementsAre(StartsWith("error Failed to move pending software package. "),
                            StartsWith("error Failed to delete temporary pending version. ")));
    EXPECT_THAT(platform.folder.GetNames(),
                ElementsAre("pending.raucb", "pending.raucb.part.copy", "settings.xml"));
}

TEST_F(VersionManagerTest, AnAcceptedBundleIsPendingWithoutACallUntilItsFileIsAnother)
{
    platform.folder.Write("pending.raucb.part", "left half verified");
    platform.folder.Write("pending.raucb.part.copy", "left half transferred");
    Initialize();
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
    rauc.AddBundle(pending + ".part", "2.0.0.0");
    EXPECT_EQ(Stage(platform.folder.Write("delivered", "bundle")), "Ok");
    rauc.ClearCalls();
    const auto readTwice = [this]
    {
        const String first = Read(Type::Pending);
        return first + ", " + Read(Type::Pending);
    };
    EXPECT_EQ(readTwice(), "2.0.0.0, 2.0.0.0");
    EXPECT_TRUE(rauc.GetCalls().empty());
    rauc.AddBundle(pending, "3.0.0.0");
    const auto written = std::filesystem::last_write_time(pending.c_str());
    std::filesystem::last_write_time(pending.c_str(), written + std::chrono::seconds(1));
    EXPECT_EQ(readTwice(), "3.0.0.0, 3.0.0.0");
    EXPECT_EQ(rauc.GetCalls().size(), 1U) << "once for the touched file";
    platform.folder.Write("pending.raucb", "");
    EXPECT_EQ(readTwice(), "3.0.0.0, 3.0.0.0");
    EXPECT_EQ(rauc.GetCalls().size(), 3U) << "an empty file is never cached";
    rauc.AddBundle(pending, "3.0.0.0", "Other");
    EXPECT_EQ(readTwice(), "InvalidArgument3.0.0.0, NotFound") << "it was deleted";
}

TEST_F(VersionManagerTest, WhatCannotBeMovedOrDeletedIsRefusedAllTheSame)
{
    const Tests::Support::TmpfsMount small(std::size_t{64} * 1024);
    Initialize("<PendingUpdatePath>" + (small / "pending") + "</PendingUpdatePath>");
    const String large = platform.folder.Write("large", String(1'000'000, 'x'));
    const String failed = "Failed to transfer software package for verification.";
    EXPECT_EQ(Stage(large), "OutOfMemory: " + failed + " There is not enough memory available.");
    Initialize();
    std::filesystem::create_directory(pending + ".part");
    EXPECT_EQ(Stage(large), "OperationFailed: " + failed);
    EXPECT_THAT(small.GetFolder().GetNames(), ElementsAre());
    EXPECT_EQ(std::filesystem::file_size(large.c_str()), 1'000'000U);

    platform.folder.Write("pending.raucb", "no bundle");
    const Tests::Support::PinnedFile pinned(pending);
    EXPECT_EQ(Read(Type::Pending) + Read(Type::Pending), "InvalidArgumentInvalidArgument");
    EXPECT_EQ(rauc.GetCalls().size(), 1U) << "RAUC has refused it once";
    EXPECT_THAT(TakeLog().back(), StartsWith("error Failed to delete invalid software package. "));
}

TEST_F(VersionManagerTest, ReadsTheFallbackVersionAtMostFiveTimesUntilItsCacheIsReset)
{
    manager.Initialize(platform.status, desktopBusManager, nullptr, settings);
    for (int attempt = 1; attempt <= 6; ++attempt)
    {
        EXPECT_EQ(Read(Type::Fallback), "OperationFailed");
    }
    EXPECT_EQ(TakeLog().back(),
              "warning Failed to read fallback version. Maybe there is no other valid slot. Attempt: 5");
    ASSERT_TRUE(desktopBusManager->Open());
    manager.ResetCache(Type::Fallback);
    EXPECT_EQ(Read(Type::Fallback), "GeneralError1.0.0.0") << "a version without the device's facts is none";
    Initialize();
    rauc.SetSlots({});
    EXPECT_EQ(Read(Type::Fallback), "1.0.0.0");
    manager.Initialize(platform.status, nullptr, nullptr, settings);
    manager.ResetCache(Type::Fallback);
    EXPECT_TRUE(manager.IsInitialized());
    EXPECT_EQ(Read(Type::Current) + Read(Type::Fallback), "OperationFailedOperationFailed");
}

TEST_F(VersionManagerTest, WithoutAKnownSlotTheSettingsDecideWhetherAnInstallationIsSaved)
{
    const auto save = [this](const String& isRequired, std::uint32_t confirmationTimeout)
    {
        Initialize("<ValidateBootedSlot fallbackOnPrimary='" + isRequired + "'>" + isRequired +
                       "</ValidateBootedSlot>",
                   false);
        platform.status->SetConfirmationTimeout(confirmationTimeout);
        const String result = ToString(manager.SaveVersionInfo(version));
        return result + ", " + Join(TakeLog(LogLevel::Warning), " ");
    };
    const String confirm =
        "Booted slot is not available. ConfirmationTimeout must be set to 0 to proceed with "
        "the installation.";
    EXPECT_EQ(save("true", 0), "OperationFailed, error Failed to get neither booted nor primary slot.");
    EXPECT_EQ(save("false", 60),
              "BootedSlotUnavailable, warning Failed to get booted slot. error " + confirm);
    EXPECT_EQ(platform.status->GetCalls().back(), "SetMessage '" + confirm + "'");
    EXPECT_EQ(save("false", 0), "Ok, warning Failed to get booted slot.");
    version.softwareRevision = "1.0.0.0";
    EXPECT_EQ(save("false", 0),
              "Ok, warning Failed to get booted slot. warning The updater won't be able to verify that the "
              "installation is successful if the current version and target version are equal.");
    EXPECT_EQ(platform.status->GetCalls().back(), "WriteProperty InstallerSlotName=");
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
