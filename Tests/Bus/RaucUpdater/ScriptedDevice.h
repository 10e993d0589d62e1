#pragma once

#include "Bus/RaucUpdater/Steps.h"
#include "Support/ScriptedRauc.h"

namespace Zel::Tests
{

/// A device with the scripted RAUC. Commands and bundle options that it has not are refused by an exception.
struct ScriptedDevice : JourneyDevice
{
    /// The slots of the scripted RAUC, or those of a device that RAUC never wrote.
    explicit ScriptedDevice(bool isNew = false);

    [[nodiscard]] String MakeBundle(const String& version, const Lines& options) override;
    String Run(const String& command, const Lines& arguments) override;

    Support::ScriptedRauc rauc;

private:
    const Support::TemporaryFolder bundles;
    /// In the slot that RAUC never wrote.
    const String factoryVersion;
    String nextSlot;
};

/// A module on the scripted RAUC that is asked directly.
struct ModuleTest : testing::Test
{
    /// Makes a new module, with elements of the settings document.
    void Create(const String& settings = "")
    {
        row.settings = settings;
        run.CreateModule();
    }

    Journey row;
    ScriptedDevice device;
    JourneyRun run{device, row};
};

/// Rows for the scripted RAUC, whose rootfs.0 runs 2.0.0.0 and whose rootfs.1 holds 1.0.0.0.
struct JourneyTest : testing::TestWithParam<Journey>
{
    static String NameOf(const testing::TestParamInfo<Journey>& row) { return row.param.name; }
};

/// \name Steps on the scripted RAUC
///@{
inline Step Rauc(const std::function<void(Support::ScriptedRauc&)>& action)
{
    return [=](auto& run) { action(dynamic_cast<ScriptedDevice&>(run.device).rauc); };
}

inline Step Answer(const String& member, const Support::ScriptedAnswer& answer)
{
    return Rauc([=](auto& rauc) { rauc->answers[member] = answer; });
}

/// Refuses with the text "no"; `NoAnswer` is then logged.
inline Step NoAnswerTo(const String& member)
{
    return Answer(member, Support::ScriptedAnswer::Refusal("no"));
}

inline const String NoAnswer =
    "error DesktopBusMethod: Error: " + Support::ScriptedAnswer::RefusalError + " - no";
///@}

} // namespace Zel::Tests
