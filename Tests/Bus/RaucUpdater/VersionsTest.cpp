// What the module tells of versions and makes of delivered files.

#include "Bus/RaucUpdater/ScriptedDevice.h"
#include "Support/TmpfsMount.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace Zel::Tests
{

using System::Commons::Diagnostics::Logging::LogLevel;
using namespace testing;

struct VersionsTest : ModuleTest
{
    void SetFact(const String& key, const Variant& value) const
    {
        platform.deviceInfo->Set("General." + key, value);
    }

    /// Returns the revision, or the result where it is not Ok and the record was reset.
    String Read(FileType type, const String& id = Support::ModulePlatform::ComponentId)
    {
        version.softwareRevision = "left over";
        const ResultCode result = run.module->GetSoftwareVersion(id, type, version);
        return (result == ResultCode::Ok ? "" : ToString(result)) + version.softwareRevision.ToString();
    }

    String ReadTwice(FileType type)
    {
        const String first = Read(type);
        return first + ", " + Read(type);
    }

    /// Delivers a file and returns the result and the message.
    String Deliver(const String& path, FileType type = FileType::Pending)
    {
        String message = "left over";
        const ResultCode result = run.module->SetSoftwarePackage(platform.ComponentId, type, path, message);
        return ToString(result) + String(message.empty() ? "" : ": ") + message;
    }

    /// Returns the log since the last time, without the class.
    Lines TakeLog(LogLevel level = LogLevel::Trace)
    {
        Lines lines = run.log.GetLinesOf("VersionManager", level);
        std::ranges::for_each(lines, [](auto& line) { line.replace(line.find(" VersionManager:"), 16, ""); });
        run.log.Clear();
        return lines;
    }

    Support::ModulePlatform& platform = run.platform;
    const String pending = platform.GetPendingPath();
    Version version;
};

TEST_F(VersionsTest, TakesItsFactsFromTheSettingsAndTheRestFromTheDevice)
{
    const auto describe =
        [this](const String& settings, const Lines& missing = {}, const String& id = "Controller")
    {
        std::ranges::for_each(missing, [this](auto& key) { SetFact(key, Variant()); });
        Create(settings);
        const String errors = Join(TakeLog(LogLevel::Error), "; ");
        EXPECT_EQ(Read(FileType::Current, id), "1.0.0.0");
        EXPECT_EQ(version.softwareManufacturerUri, platform.ManufacturerUri);
        return version.softwareManufacturer.ToString() + "; " + version.changeLogReference.ToString() +
               errors;
    };
    const String vendor = "CORVANE SYSTEMS GmbH & Co. KG; ";
    EXPECT_EQ(describe("<ChangeLogReference>{0}/l</ChangeLogReference>"), vendor + "1234567/l");
    EXPECT_EQ(describe("<ChangeLogReference>{0}{1}</ChangeLogReference>"), vendor);
    EXPECT_EQ(describe("<Manufacturer>Corvane Systems</Manufacturer>"), "Corvane Systems; ");
    SetFact("VendorName", "Other");
    EXPECT_EQ(describe(""), "Other; ");
    EXPECT_EQ(describe("<Manufacturer>M</Manufacturer>", {"VendorName", "ArticleNumber"}), "M; ");
    EXPECT_EQ(describe("<ChangeLogReference>{0}</ChangeLogReference>", {"ArticleName"}, ""),
              "; {0}error Failed to get ArticleName from IDeviceInfoService; error Failed to get VendorName "
              "from IDeviceInfoService; error Failed to get ArticleNumber from IDeviceInfoService");
}

TEST_F(VersionsTest, ReadsTheCurrentVersionAtMostFiveTimesAndNeverAgainOnceKnown)
{
    Create();
    for (const char* source : {"the device", "the cache"})
    {
        EXPECT_EQ(Read(FileType::Current), "1.0.0.0");
        EXPECT_EQ(version.releaseDate, DateTime::FromIso8601String("2026-11-21T06:59:33")) << source;
    }
    Create();
    SetFact("Firmware.BuildTime", "soon");
    EXPECT_EQ(Read(FileType::Current), "1.0.0.0");
    EXPECT_EQ(version.releaseDate, DateTime(0, DateTimeKind::Utc));
    const String unparsable = "error Failed to parse release date 2026-11-21Tsoon. Zel::Exception: ";
    EXPECT_THAT(TakeLog(LogLevel::Error), ElementsAre(StartsWith(unparsable)));
    SetFact("Firmware.VersionPatch", Variant());
    EXPECT_EQ(Read(FileType::Current), "OperationFailed") << "an unreadable date is not cached";
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read current version. Attempt: 2"});
    SetFact("Firmware.VersionPatch", 7);
    SetFact("Firmware.BuildTime", Variant());
    EXPECT_EQ(Read(FileType::Current), "1.0.7.0");
    EXPECT_EQ(TakeLog(LogLevel::Error), Lines{"error Failed to read release date of current version."});
    SetFact("Firmware.VersionPatch", Variant());
    EXPECT_EQ(Read(FileType::Current), "1.0.7.0") << "a missing one is";
    Create();
    for (int attempt = 1; attempt <= 6; ++attempt)
    {
        EXPECT_EQ(Read(FileType::Current), "OperationFailed");
    }
    EXPECT_EQ(TakeLog().back(), "error Failed to read current version. Attempt: 5");
    EXPECT_EQ(Read(static_cast<FileType>(3)), "NotSupported");
    EXPECT_EQ(TakeLog(), Lines{"error Unknown SoftwareVersionFileType: 3"});
}

TEST_F(VersionsTest, ReadsTheFallbackVersionAtMostFiveTimesUntilAnInstallationFails)
{
    Create();
    NoAnswerTo("GetSlotStatus")(run);
    for (int attempt = 1; attempt <= 5; ++attempt)
    {
        EXPECT_EQ(Read(FileType::Fallback), "OperationFailed");
    }
    EXPECT_EQ(TakeLog().back(),
              "warning Failed to read fallback version. Maybe there is no other valid slot. Attempt: 5");
    device.rauc->answers.clear();
    EXPECT_EQ(Read(FileType::Fallback), "OperationFailed");
    Stored(InstallationState::Installing)(run);
    device.rauc.EmitCompleted(1);
    run.Settle();
    EXPECT_EQ(Read(FileType::Fallback), "1.0.0.0");
    device.rauc->slots.clear();
    EXPECT_EQ(Read(FileType::Fallback), "1.0.0.0") << "what is known is not asked again";
}

TEST_F(VersionsTest, OnlyARegularFileIsTakenOrPending)
{
    Create();
    const String other = platform.folder.Write("other", "bundle");
    const std::function<void()> makers[] = {[&] { std::filesystem::create_symlink(other, pending); },
                                            [&] { EXPECT_EQ(mkfifo(pending.c_str(), 0600), 0); },
                                            [&] { std::filesystem::create_directory(pending); }};
    for (const auto& make : makers)
    {
        std::filesystem::remove(pending);
        make();
        EXPECT_EQ(Read(FileType::Pending), "NotFound");
        EXPECT_EQ(Deliver(pending), "InvalidArgument: The file is not a regular file.");
    }
    EXPECT_EQ(Deliver(platform.folder / "missing"), "NotFound: The file does not exist.");
    EXPECT_EQ(TakeLog(LogLevel::Info), Lines());
    EXPECT_EQ(Deliver(other, FileType::Fallback), "NotSupported: Unsupported file type Fallback");
    EXPECT_EQ(Deliver(other, static_cast<FileType>(9)), "NotSupported: Unsupported file type 9");
    EXPECT_TRUE(device.rauc->calls.empty());

    device.rauc->bundles["bundle"] = {"Controller", "2.0.0.0"};
    EXPECT_EQ(Deliver(other), "OperationFailed: Failed to move pending software package.");
    std::filesystem::create_directory(pending + ".part.copy");
    Create();
    EXPECT_THAT(TakeLog(LogLevel::Error),
                ElementsAre(StartsWith("error Failed to move pending software package. "),
                            StartsWith("error Failed to delete temporary pending version. ")));
    EXPECT_THAT(platform.folder.GetNames(),
                ElementsAre("pending.raucb", "pending.raucb.part.copy", "settings.xml"));
}

TEST_F(VersionsTest, AnAcceptedBundleIsPendingWithoutACallUntilItsFileIsAnother)
{
    platform.folder.Write("pending.raucb.part", "left half verified");
    platform.folder.Write("pending.raucb.part.copy", "left half transferred");
    Create();
    EXPECT_THAT(platform.folder.GetNames(), ElementsAre("settings.xml"));
    device.rauc->bundles["bundle"] = {"Controller", "2.0.0.0"};
    EXPECT_EQ(Deliver(platform.folder.Write("delivered", "bundle")), "Ok");
    device.rauc->calls.clear();
    EXPECT_EQ(ReadTwice(FileType::Pending), "2.0.0.0, 2.0.0.0");
    EXPECT_TRUE(device.rauc->calls.empty());
    device.rauc->bundles[pending] = {"Controller", "3.0.0.0"};
    const auto written = std::filesystem::last_write_time(pending.c_str());
    std::filesystem::last_write_time(pending.c_str(), written + std::chrono::seconds(1));
    EXPECT_EQ(ReadTwice(FileType::Pending), "3.0.0.0, 3.0.0.0");
    EXPECT_EQ(device.rauc->calls.size(), 1U) << "once for the touched file";
    platform.folder.Write("pending.raucb", "");
    EXPECT_EQ(ReadTwice(FileType::Pending), "3.0.0.0, 3.0.0.0");
    EXPECT_EQ(device.rauc->calls.size(), 3U) << "an empty file is never cached";
    device.rauc->bundles[pending] = {"Other", "3.0.0.0"};
    EXPECT_EQ(ReadTwice(FileType::Pending), "InvalidArgument3.0.0.0, NotFound") << "it was deleted";
}

TEST_F(VersionsTest, WhatCannotBeMovedOrDeletedIsRefusedAllTheSame)
{
    const Support::TmpfsMount small(std::size_t{64} * 1024);
    Create("<PendingUpdatePath>" + (small / "pending") + "</PendingUpdatePath>");
    const String large = platform.folder.Write("large", String(1'000'000, 'x'));
    const String failed = "Failed to transfer software package for verification.";
    const String full = failed + " There is not enough memory available.";
    EXPECT_EQ(Deliver(large), "OutOfMemory: " + full);
    EXPECT_THAT(TakeLog(LogLevel::Error),
                ElementsAre(StartsWith("error " + full + " Zel::System::Commons::OutOfMemoryException: ")));
    Create();
    std::filesystem::create_directory(pending + ".part");
    TakeLog();
    EXPECT_EQ(Deliver(large), "OperationFailed: " + failed);
    EXPECT_THAT(TakeLog(LogLevel::Error).front(), StartsWith("error " + failed + " Zel::"));
    EXPECT_THAT(small.GetNames(), ElementsAre());
    EXPECT_EQ(std::filesystem::file_size(large.c_str()), 1'000'000U);

    platform.folder.Write("pending.raucb", "no bundle");
    const Support::PinnedFile pinned(pending);
    EXPECT_EQ(ReadTwice(FileType::Pending), "InvalidArgument, InvalidArgument");
    EXPECT_EQ(device.rauc->calls.size(), 1U) << "RAUC has refused it once";
    EXPECT_THAT(TakeLog().back(), StartsWith("error Failed to delete invalid software package. "));
    Stored(InstallationState::Installing)(run);
    Create();
    const String undeleted = "error: Failed to delete installed firmware file. ";
    EXPECT_THAT(run.GetStory(), Contains(StartsWith(undeleted)));
}

} // namespace Zel::Tests
