#include "Bus/RaucUpdater/ScriptedDevice.h"

namespace Zel::Tests
{

ScriptedDevice::ScriptedDevice(bool isNew) : factoryVersion(isNew ? "1.0.0.0" : "2.0.0.0")
{
    if (isNew)
    {
        rauc->slots = {{"rootfs.1", "inactive"}, {"rootfs.0", "booted"}};
    }
}

String ScriptedDevice::MakeBundle(const String& version, const Lines& options)
{
    const String option = options.empty() ? "" : options.front();
    const String value = options.empty() ? "" : options.back();
    const String content = "bundle of " + version + " " + Join(options, " ");
    if (option != "--stranger" && option != "--truncated")
    {
        rauc->bundles[content] = {option == "--compatible" ? value : "Controller",
                                  option == "--manifest-version" ? value : version};
    }
    if (option == "--image-size")
    {
        rauc->failure = "Installation error: Failed updating slot rootfs.1: No space left on device";
    }
    if (option == "--post-install-fails")
    {
        rauc->failure = "Post-install handler error: Child process exited with code 1";
        rauc->activates = true;
    }
    if (option == "--held")
    {
        rauc->heldAt = 3;
    }
    return bundles.Write("delivered", content);
}

String ScriptedDevice::Run(const String& command, const Lines& /*arguments*/)
{
    Support::ScriptedSlot booted = rauc->FindSlot("booted");
    booted.texts.insert({"bundle.version", factoryVersion});
    const std::map<String, String> facts = {{"mark-good", ""},
                                            {"booted", booted.name},
                                            {"primary", rauc->primary},
                                            {"slot-version", booted.texts["bundle.version"]}};
    const std::map<String, std::function<void()>> actions = {
        {"wait-held", [&] { EXPECT_TRUE(rauc.WaitForCall("InstallBundle")); }},
        {"next-boot-fails", [&] { nextSlot = booted.name; }},
        {"shutdown", [&] { rauc.Vanish(); }},
        {"boot", [&] { rauc.Restart(std::exchange(nextSlot, "")); }},
        // An installation of somebody else's.
        {"busy", [&] { rauc->heldAt = 2, rauc.Install(MakeBundle("9.0.0.0", {})); }},
        {"rest", [&] { rauc.ReleaseInstallation(); }},
        {"rauc-stop", [&] { rauc.Vanish(); }},
        {"rauc-start", [&] { rauc.Start(); }}};
    return facts.contains(command) ? facts.at(command) : (actions.at(command)(), "");
}

TEST_P(JourneyTest, IsToldInOrder)
{
    ScriptedDevice device(GetParam().isNew);
    JourneyRun{device, GetParam()}.Run();
}

INSTANTIATE_TEST_SUITE_P(Common, JourneyTest, testing::ValuesIn(CommonJourneys()), JourneyTest::NameOf);

} // namespace Zel::Tests
