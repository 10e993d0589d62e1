#include "RaucUpdater/Internal/DesktopBus/RaucSlotStatus.h"

#include "FieldBuilders.h"
#include "Support/BusMessage.h"
#include "Support/RecordingLogSink.h"

#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

using Tests::Support::BusMessage;
using Tests::Support::BusWriter;
using Tests::Support::RecordingLog;
using Lines = std::vector<String>;

class RaucSlotStatusTest : public testing::Test, protected FieldBuilders
{
protected:
    static DesktopBusField TextEntry(const String& key, const String& text)
    {
        return Entry(key, Text(text), "s");
    }

    static DesktopBusField CountEntry(const String& key, std::uint32_t count)
    {
        return Entry(key, Field([&](auto& field) { field.SetUint32(count); }), "u");
    }

    const RecordingLog log;
};

/// Every text member and its key.
using TextAccessor = const String& (RaucSlotStatus::*)() const noexcept;

const std::vector<std::pair<String, TextAccessor>> TextKeys = {
    {"sha256", &RaucSlotStatus::GetSha256},
    {"bundle.build", &RaucSlotStatus::GetBundleBuild},
    {"bundle.compatible", &RaucSlotStatus::GetBundleCompatible},
    {"bundle.version", &RaucSlotStatus::GetBundleVersion},
    {"type", &RaucSlotStatus::GetType},
    {"bootname", &RaucSlotStatus::GetBootname},
    {"class", &RaucSlotStatus::GetClass},
    {"bundle.description", &RaucSlotStatus::GetBundleDescription},
    {"boot-status", &RaucSlotStatus::GetBootStatus},
    {"mountpoint", &RaucSlotStatus::GetMountpoint},
    {"state", &RaucSlotStatus::GetState},
    {"status", &RaucSlotStatus::GetStatus},
    {"device", &RaucSlotStatus::GetDevice},
};

TEST_F(RaucSlotStatusTest, EveryKeyFillsItsOwnMember)
{
    Fields entries;
    for (const auto& [key, accessor] : TextKeys)
    {
        entries.push_back(TextEntry(key, "value of " + key));
    }
    entries.push_back(Entry("size", Field([](auto& field) { field.SetUint64(5'000'000'000); }), "t"));
    entries.push_back(CountEntry("installed.count", 3));
    entries.push_back(CountEntry("activated.count", 2));
    entries.push_back(TextEntry("installed.timestamp", "2023-05-01T10:00:00Z"));
    entries.push_back(TextEntry("activated.timestamp", "2023-05-02T11:00:00"));
    RaucSlotStatus status;
    ASSERT_TRUE(status.ReadFields(Fields{Array(entries, "{sv}")}));
    for (const auto& [key, accessor] : TextKeys)
    {
        EXPECT_EQ((status.*accessor)(), "value of " + key);
    }
    EXPECT_EQ(status.GetSize(), 5'000'000'000U);
    EXPECT_EQ(status.GetInstalledCount(), 3U);
    EXPECT_EQ(status.GetActivatedCount(), 2U);
    EXPECT_EQ(status.GetInstallDateTime(), DateTime::FromIso8601String("2023-05-01T10:00:00"));
    EXPECT_EQ(status.GetActivatedDateTime(), DateTime::FromIso8601String("2023-05-02T11:00:00"));
    EXPECT_EQ(log->GetLines(), Lines());
}

TEST_F(RaucSlotStatusTest, WhatCannotBeReadIsSkippedAndTheRestKept)
{
    const Fields entries = {TextEntry("state", "booted"),
                            TextEntry("installed.timestamp", "yesterdayZ"),
                            TextEntry("foo", "x"),
                            TextEntry("State", "x"),
                            TextEntry("size", "1"),
                            CountEntry("size", 1),
                            CountEntry("bundle.version", 1),
                            CountEntry("installed.timestamp", 1),
                            Entry({Text("status"), Text("no variant")}),
                            Entry({Text("status")}),
                            Entry({Number(1), Variant(Text("x"), "s")}),
                            Text("no entry"),
                            TextEntry("device", "/dev/a")};
    RaucSlotStatus status;
    EXPECT_TRUE(status.ReadFields(Fields{Array(entries, "{sv}")}));
    EXPECT_EQ(status.GetState(), "booted");
    EXPECT_EQ(status.GetDevice(), "/dev/a");
    EXPECT_EQ(status.GetInstallDateTime(), DateTime());
    EXPECT_EQ(status.GetSize(), 0U);
    EXPECT_EQ(status.GetBundleVersion() + status.GetStatus(), "");
    const auto lines = log->GetLines();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(
        lines[0].starts_with("error RaucSlotStatus: Failed to parse timestamp=yesterday. Zel::Exception: "))
        << lines[0];
    EXPECT_EQ(Lines(lines.begin() + 1, lines.end()),
              (Lines{"debug RaucSlotStatus: Not supported", "debug RaucSlotStatus: Not supported"}));
}

TEST_F(RaucSlotStatusTest, WithoutADictionaryTheRecordFails)
{
    RaucSlotStatus status;
    EXPECT_TRUE(status.ReadFields(Fields{Array({}, "{sv}")}));
    EXPECT_FALSE(status.ReadFields(Fields{}));
    EXPECT_FALSE(status.ReadFields(Fields{Text("x")}));
    EXPECT_EQ(log->GetLines(), (Lines{"error RaucSlotStatus: Failed to enter array. Fields: []",
                                      "error RaucSlotStatus: Failed to enter array. Fields: "
                                      "[{DesktopBusField=[type=string(115); value=\"x\"]}]"}));
}

TEST_F(RaucSlotStatusTest, AMessageWithADictionaryIsRead)
{
    const auto message = BusMessage::LooseReturn().With(
        [](BusWriter& writer)
        {
            writer.Array("{sv}", [](BusWriter& entries)
                         { entries.Entry("size", "t", [](BusWriter& value) { value.Uint64(7); }); });
        });
    RaucSlotStatus status;
    EXPECT_TRUE(status.ReadMessage(DesktopBusMessage(message.Share())));
    EXPECT_EQ(status.GetSize(), 7U);
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
