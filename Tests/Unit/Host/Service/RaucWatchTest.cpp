#include "Service/RaucWatch.h"

#include <gtest/gtest.h>

namespace Zel::Host::Service
{

TEST(RaucWatchTest, AnAnswerTellsWhetherRaucWouldAnswerMore)
{
    struct Row
    {
        const char* name;
        const char* text;
        RaucState state;
    };

    const char* glib = "org.gtk.GDBus.UnmappedGError.Quark._g_2dio_2derror_2dquark.Code30";
    const std::vector<Row> rows = {
        {"", "", RaucState::Resting},
        {glib, "already processing a different method", RaucState::Busy},
        {glib, "Already processing a different method", RaucState::Busy},
        {glib, "Failed getting primary slot: custom backend: failed\n", RaucState::Resting},
        {"org.freedesktop.DBus.Error.NoReply", "Method call timed out", RaucState::Silent},
        {"org.freedesktop.DBus.Error.ServiceUnknown", "not provided by any .service files",
         RaucState::Absent},
        {"org.freedesktop.DBus.Error.NameHasNoOwner", "", RaucState::Absent},
        {"org.freedesktop.DBus.Error.Spawn.ChildExited", "exited with status 3", RaucState::Absent},
        {"org.freedesktop.DBus.Error.Disconnected", "", RaucState::Absent},
    };
    for (const Row& row : rows)
    {
        EXPECT_EQ(RaucWatch::Classify({row.name, row.text}), row.state) << row.name << ": " << row.text;
    }
}

} // namespace Zel::Host::Service
