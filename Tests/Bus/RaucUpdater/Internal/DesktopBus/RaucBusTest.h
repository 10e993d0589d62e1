#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"
#include "Support/PrivateBus.h"
#include "Support/RecordingLog.h"
#include "Support/ScriptedRauc.h"

#include <gtest/gtest.h>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// A private bus with a scripted RAUC on it, and the log.
struct RaucBusTest : testing::Test
{
    using Answer = Tests::Support::ScriptedAnswer;
    using Lines = std::vector<String>;
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;

    /// The errors in the log.
    [[nodiscard]] Lines GetErrors() const { return log.GetLines(LogLevel::Error); }

    Tests::Support::PrivateBus& bus = Tests::Support::PrivateBus::OfProcess();
    Tests::Support::ScriptedRauc rauc;
    const Tests::Support::RecordingLog log;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
