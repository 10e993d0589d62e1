#include "RaucUpdater/Internal/VersionManager.h"

#include "DesktopBus/RaucBusTest.h"
#include "Support/ModulePlatform.h"
#include "Support/TmpfsMount.h"
#include "Zel/System/Commons/ArgumentException.h"
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
using Type = Services::SoftwareUpdate::SoftwareVersionFileType;
using Version = VersionManager::SoftwareVersionType;

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

    /// Returns the revision, or the result where it is not Ok and the record was reset.
    String Read(Type type)
    {
        version.softwareRevision = "left over";
        const ResultCode result = manager.GetSoftwareVersion(type, version);
        return result == ResultCode::Ok ? version.softwareRevision.ToString()
                                        : ToString(result) + version.softwareRevision.ToString();
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
        for (auto& line : lines)
        {
            line.replace(line.find(" VersionManager:"), 16, "");
        }
        log->Clear();
        return lines;
    }

    Tests::Support::ModulePlatform platform;
    const String pending = platform.GetPendingPath();
    Settings::RaucUpdaterSettings settings;
    std::shared_ptr<DesktopBus::DesktopBusManager> desktopBusManager =
        std::make_shared<DesktopBus::DesktopBusManager>();
    VersionManager manager;
    Version version;
};

TEST_F(VersionManagerTest, TakesItsFactsFromTheSettingsAndTheRestFromTheDevice)
{
    const auto describe = [this](const String& elements, const Lines& missing)
    {
        std::ranges::for_each(missing, [this](auto& key) { platform.deviceInfo->Set(key, Variant()); });
        Initialize(elements);
        const String errors = Join(TakeLog(LogLevel::Error), " ");
        EXPECT_EQ(manager.IsInitialized(), errors.empty());
        EXPECT_EQ(Read(Type::Current), "1.0.0.0");
        EXPECT_EQ(version.softwareManufacturerUri, platform.ManufacturerUri);
        EXPECT_EQ(version.softwareManufacturer, manager.GetSoftwareManufacturer());
        return manager.GetSoftwareManufacturer() + "; " + version.changeLogReference.ToString() + errors;
    };
    const Lines facts = {"General.VendorName", "General.ArticleNumber"};
    const String reference = "ChangeLogReference>";
    const String vendor = "CORVANE SYSTEMS GmbH & Co. KG; ";
    EXPECT_EQ(describe("<" + reference + "{0}/l</" + reference, {}), vendor + "1234567/l");
    EXPECT_EQ(describe("<" + reference + "{0}{1}</" + reference, {}), vendor);
    EXPECT_EQ(describe("<" + reference + "l</" + reference + "<Manufacturer>M</Manufacturer>", facts),
              "M; l");
    EXPECT_EQ(manager.GetRaucComponentId(), "Controller");
    settings = Settings::RaucUpdaterSettings();
    EXPECT_EQ(describe("<" + reference + "{0}</" + reference, {"General.ArticleName"}),
              "M; {0}error Failed to get ArticleName from IDeviceInfoService error Failed to get VendorName "
              "from IDeviceInfoService error Failed to get ArticleNumber from IDeviceInfoService");
}

TEST_F(VersionManagerTest, ReadsTheCurrentVersionAtMostFiveTimesAndNeverAgainOnceKnown)
{
    Initialize();
    const auto set = [this](const String& key, const Variant& value)
    { platform.deviceInfo->Set("General.Firmware." + key, value); };
    set("BuildTime", "soon");
    EXPECT_EQ(Read(Type::Current), "1.0.0.0");
    EXPECT_EQ(version.releaseDate, DateTime(0, DateTimeKind::Utc));
    const String unparsable = "error Failed to parse release date 2026-11-21Tsoon. Zel::Exception: ";
    EXPECT_THAT(TakeLog(LogLevel::Error), ElementsAre(testing::StartsWith(unparsable)));
    set("VersionPatch", Variant());
    EXPECT_EQ(Read(Type::Current), "OperationFailed") << "an unreadable date is not cached";
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read current version. Attempt: 2"});
    set("VersionPatch", 7);
    set("BuildTime", Variant());
    EXPECT_EQ(Read(Type::Current), "1.0.7.0");
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read release date of current version."});
    set("VersionPatch", Variant());
    EXPECT_EQ(Read(Type::Current), "1.0.7.0") << "a missing one is";
    manager.ResetCache(Type::Current);
    EXPECT_EQ(Read(Type::Current) + Read(Type::Current), "OperationFailedOperationFailed");
    set("VersionPatch", 7);
    EXPECT_EQ(Read(Type::Current), "OperationFailed") << "five attempts were all";
}

TEST_F(VersionManagerTest, ATextOf512CharactersThrowsWhereverItComesFrom)
{
    for (const auto& text : {String(511, 't'), String(512, 't')})
    {
        platform.folder.Write("pending.raucb", text);
        rauc.AddBundle(pending, text);
        rauc.SetSlots({ScriptedSlot("a.1", "B", "inactive").Written(text)});
        const std::vector<std::pair<String, Type>> sources = {{"Manufacturer", Type::Current},
                                                              {"ManufacturerUri", Type::Current},
                                                              {"ChangeLogReference", Type::Current},
                                                              {"Current", Type::Current},
                                                              {"Pending", Type::Pending},
                                                              {"Fallback", Type::Fallback}};
        for (const auto& [source, type] : sources)
        {
            const bool isRevision = source == "Current";
            Initialize("<" + source + ">" + text + "</" + source + ">");
            settings = Settings::RaucUpdaterSettings();
            manager.ResetCache(isRevision ? Type::Current : Type::Fallback);
            platform.deviceInfo->Set("General.Firmware.VersionMajor", isRevision ? text.substr(6) : "1");
            const auto read = [&, asked = type] { EXPECT_NE(Read(asked), "OperationFailed"); };
            if (text.size() == 511)
            {
                EXPECT_NO_THROW(read()) << source;
            }
            else
            {
                EXPECT_THROW(read(), System::Commons::ArgumentException) << source;
            }
        }
    }
}

TEST_F(VersionManagerTest, ComparesUriThenRevisionThenPatchesAndNothingElse)
{
    Initialize();
    ASSERT_EQ(Read(Type::Current), "1.0.0.0");
    Version expected = version;
    expected.softwareManufacturer = "other";
    expected.releaseDate = DateTime();
    const auto compare = [&](Type type)
    {
        TakeLog();
        const String result = ToString(manager.CompareVersion(type, expected));
        return result + Join(TakeLog(), "; ");
    };
    EXPECT_EQ(compare(Type::Current), "Ok");
    expected.patchIdentifiers = {"a"};
    EXPECT_EQ(compare(Type::Current), "NotFounddebug PatchIdentifiers size mismatch");
    expected.softwareRevision = "2";
    EXPECT_EQ(compare(Type::Current),
              "NotFoundtrace SoftwareRevision mismatch (type=Current): Actual=1.0.0.0 ; Expected=2");
    expected.softwareManufacturerUri = "x";
    EXPECT_EQ(
        compare(Type::Current),
        "NotFounddebug ManufacturerUri mismatch (type=Current): Actual=https://corvane.example ; Expected=x");
    EXPECT_EQ(compare(static_cast<Type>(3)), "NotSupportederror Unknown SoftwareVersionFileType: 3");
    manager.ResetCache(static_cast<Type>(3));
    EXPECT_EQ(TakeLog(), Lines{"debug Unable to reset cache: Unknown SoftwareVersionFileType"});
}

TEST_F(VersionManagerTest, OnlyARegularFileIsTakenOrPending)
{
    Initialize();
    const String other = platform.folder.Write("other", "bundle");
    const auto makeLink = [&] { std::filesystem::create_symlink(other, pending); };
    const auto makePipe = [&] { EXPECT_EQ(mkfifo(pending.c_str(), 0600), 0); };
    const auto makeFolder = [&] { std::filesystem::create_directory(pending); };
    EXPECT_EQ(Stage(pending), "NotFound: The file does not exist.");
    EXPECT_EQ(Read(Type::Pending), "NotFound");
    for (const auto& make : {std::function<void()>(makeLink), {makePipe}, {makeFolder}})
    {
        std::filesystem::remove(pending);
        make();
        EXPECT_EQ(Read(Type::Pending), "NotFound");
        EXPECT_EQ(Stage(pending), "InvalidArgument: The file is not a regular file.");
    }
    EXPECT_EQ(Stage(other, Type::Fallback), "NotSupported: Unsupported file type Fallback");
    EXPECT_EQ(Stage(other, static_cast<Type>(9)), "NotSupported: Unsupported file type 9");
    EXPECT_EQ(manager.GetSoftwarePackage(Type::Pending, other), ResultCode::NotSupported);
    EXPECT_TRUE(rauc.GetCalls().empty() && TakeLog().empty());

    rauc.AddBundle(pending + ".part", "2.0.0.0");
    EXPECT_EQ(Stage(other), "OperationFailed: Failed to move pending software package.");
    std::filesystem::create_directory(pending + ".part.copy");
    Initialize();
    const auto errors = TakeLog(LogLevel::Error);
    EXPECT_EQ(errors.size(), 2U);
    EXPECT_THAT(errors.back(), testing::StartsWith("error Failed to delete temporary pending version. "));
    EXPECT_THAT(platform.folder.GetNames(),
                ElementsAre("pending.raucb", "pending.raucb.part.copy", "settings.xml"));
}

TEST_F(VersionManagerTest, AnAcceptedBundleIsPendingWithoutACallAndWhatIsRefusedIsThrownAway)
{
    platform.folder.Write("pending.raucb.part", "left half verified");
    platform.folder.Write("pending.raucb.part.copy", "left half transferred");
    Initialize();
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
    const auto stage = [this](const String& revision, const String& compatible)
    {
        rauc.AddBundle(pending + ".part", revision, compatible);
        const String result = Stage(platform.folder.Write("delivered", "bundle"));
        rauc.ClearCalls();
        EXPECT_EQ(Read(Type::Pending), "2.0.0.0");
        EXPECT_TRUE(rauc.GetCalls().empty());
        EXPECT_THAT(platform.folder.GetNames(), ElementsAre("pending.raucb", "settings.xml"));
        return result;
    };
    const String failed = "InvalidArgument: The verification of the software package failed.";
    EXPECT_EQ(stage("2.0.0.0", "Controller"), "Ok");
    EXPECT_EQ(stage(String(512, '3'), "Controller"), failed);
    EXPECT_EQ(stage("3.0.0.0", "Other"),
              "InvalidArgument: The software package is build for the 'Other' and not for the 'Controller'.");
    rauc.SetAnswer("Info", Answer::Refusal("no"));
    EXPECT_EQ(stage("3.0.0.0", "Controller"), failed);
    platform.folder.Write("pending.raucb", "another bundle");
    TakeLog();
    EXPECT_EQ(Read(Type::Pending), "InvalidArgument");
    EXPECT_THAT(TakeLog(),
                ElementsAre("debug Read pending version.", "error Failed to read pending version info.",
                            "info Delete invalid software package " + pending));
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
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
    EXPECT_EQ(Tests::Support::TemporaryFolder::Read(large).size(), 1'000'000U);

    platform.folder.Write("pending.raucb", "no bundle");
    const Tests::Support::PinnedFile pinned(pending);
    EXPECT_EQ(Read(Type::Pending) + Read(Type::Pending), "InvalidArgumentInvalidArgument");
    EXPECT_EQ(rauc.GetCalls().size(), 1U) << "RAUC has refused it once";
    EXPECT_THAT(TakeLog().back(), testing::StartsWith("error Failed to delete invalid software package. "));
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
    EXPECT_EQ(save("true", 0), "OperationFailed, error Failed to get neither booted nor primary slot.");
    EXPECT_EQ(save("false", 60),
              "BootedSlotUnavailable, warning Failed to get booted slot. error Booted slot is not available. "
              "ConfirmationTimeout must be set to 0 to proceed with the installation.");
    EXPECT_EQ(save("false", 0), "Ok, warning Failed to get booted slot.");
    EXPECT_EQ(platform.status->GetCalls().back(), "WriteProperty InstallerSlotName=");
    Initialize("<ValidateBootedSlot>true</ValidateBootedSlot>");
    platform.status->Refuse("WriteProperty InstallerSlotName=rootfs.0");
    EXPECT_EQ(manager.SaveVersionInfo(version), ResultCode::OperationFailed);
    EXPECT_EQ(platform.status->GetCalls().back(), "SetMessage 'Failed to save booted slot name.'");
    platform.status->Refuse("WriteProperty TargetSoftwareRevision");
    EXPECT_EQ(manager.SaveVersionInfo(version), ResultCode::OperationFailed);
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
