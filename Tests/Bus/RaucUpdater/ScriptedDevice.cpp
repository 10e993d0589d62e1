#include "Bus/RaucUpdater/ScriptedDevice.h"

#include "Zel/Exception.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <utility>

namespace Zel::Tests
{

using Support::BusMessage;
using Support::BusWriter;
using Support::ScriptedSlot;

ScriptedDevice::ScriptedDevice(bool isNew) : factoryVersion(isNew ? "1.0.0.0" : "2.0.0.0")
{
    if (isNew)
    {
        rauc.SetSlots({ScriptedSlot("rootfs.1", "B", "inactive"), ScriptedSlot("rootfs.0", "A", "booted")});
    }
}

String ScriptedDevice::MakeBundle(const String& version, const Lines& options)
{
    const String option = options.empty() ? "" : options.front();
    const String value = options.size() < 2 ? "" : options.back();
    const String content = "bundle of " + version + " " + Join(options, " ");
    if (option == "--missing")
    {
        return bundles / "missing";
    }
    if (option == "--folder")
    {
        std::filesystem::create_directory(bundles / "folder");
        return bundles / "folder";
    }
    if (option != "--stranger" && option != "--truncated")
    {
        rauc.AddBundle(content, option == "--manifest-version" ? value : version,
                       option == "--compatible" ? value : "Controller");
    }
    if (option == "--image-size")
    {
        rauc.LetInstallationFail("Installation error: Failed updating slot rootfs.1: Failed splicing data: "
                                 "Error writing to file descriptor: No space left on device");
    }
    if (option == "--post-install-fails")
    {
        rauc.LetInstallationFail("Post-install handler error: Child process exited with code 1", true);
    }
    if (option == "--held")
    {
        rauc.HoldInstallation(15);
    }
    return bundles.Write("delivered", content);
}

String ScriptedDevice::Run(const String& command, const Lines& /*arguments*/)
{
    const std::map<String, std::function<String()>> commands = {
        {"booted", [&] { return rauc.GetBootedSlot().GetName(); }},
        {"primary", [&] { return rauc.GetPrimary(); }},
        {"slot-version", [&] { return GetImageVersion(); }},
        {"mark-good", [] { return String(); }},
        {"wait-held", [&] { return rauc.WaitForCalls("InstallBundle") ? "" : throw Exception("not held"); }},
        {"next-boot-fails", [&] { return (nextBootFails = true, String()); }},
        {"shutdown", [&] { return (rauc.Vanish(), String()); }},
        {"boot",
         [&]
         {
             return (rauc.Restart(std::exchange(nextBootFails, false) ? rauc.GetBootedSlot().GetName() : ""),
                     String());
         }},
        {"busy", [&] { return (InstallForeign(), String()); }},
        {"rest", [&] { return (rauc.ReleaseInstallation(), String()); }},
        {"rauc-stop", [&] { return (rauc.Vanish(), String()); }},
        {"rauc-start", [&] { return (rauc.Start(), String()); }}};
    return commands.at(command)();
}

void ScriptedDevice::InstallForeign()
{
    rauc.HoldInstallation();
    Support::BusPeer client(Support::PrivateBus::OfProcess().GetAddress(), "", [](const BusMessage&) {});
    client.Send(
        BusMessage::MethodCall("de.pengutronix.rauc", "/", "de.pengutronix.rauc.Installer", "InstallBundle")
            .With([&](BusWriter& writer)
                  { writer.Text(MakeBundle("9.0.0.0", {})).Array("{sv}", [](BusWriter&) {}); }));
    EXPECT_TRUE(rauc.WaitForCalls("InstallBundle"));
}

String ScriptedDevice::GetImageVersion()
{
    const String written = rauc.GetBootedSlot().GetText("bundle.version");
    return written.empty() ? factoryVersion : written;
}

Step Answer(const String& member, const Support::ScriptedAnswer& answer)
{
    return Rauc([=](auto& rauc) { rauc.SetAnswer(member, answer); });
}

Step Hold(std::size_t steps)
{
    return Rauc([=](auto& rauc) { rauc.HoldInstallation(steps); });
}

Step Rauc(const std::function<void(Support::ScriptedRauc&)>& action)
{
    return [=](JourneyRun& run) { action(dynamic_cast<ScriptedDevice&>(run.device).rauc); };
}

} // namespace Zel::Tests
