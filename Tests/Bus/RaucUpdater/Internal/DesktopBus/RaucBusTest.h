#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "Support/PrivateBus.h"
#include "Support/RecordingLogSink.h"
#include "Support/ScriptedRauc.h"
#include "Zel/String.h"

#include <gtest/gtest.h>
#include <vector>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// A private bus with a scripted RAUC on it, and the log. libdbus keeps its one connection to the bus, so
/// signals that an earlier test left there are thrown away first.
class RaucBusTest : public testing::Test
{
protected:
    using ScriptedSlot = Tests::Support::ScriptedSlot;
    using Answer = Tests::Support::ScriptedAnswer;
    using Lines = std::vector<String>;
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;

    RaucBusTest()
    {
        DesktopBusConnection connection;
        EXPECT_TRUE(connection.Open());
        const String isEmpty = "trace DesktopBusConnection: There is no available signal.";
        for (int emptyRuns = 0; emptyRuns < 2;)
        {
            log->Clear();
            connection.ReadSignals();
            emptyRuns = log->GetLinesOf("DesktopBusConnection") == Lines{isEmpty} ? emptyRuns + 1 : 0;
        }
        connection.Close();
        log->Clear();
    }

    /// The errors in the log.
    [[nodiscard]] Lines GetErrors() const { return log->GetLines(LogLevel::Error); }

    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    Tests::Support::ScriptedRauc rauc{bus};
    const Tests::Support::RecordingLog log;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
