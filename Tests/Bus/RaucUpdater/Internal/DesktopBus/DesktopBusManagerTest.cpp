#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include "RaucBusTest.h"

#include <array>
#include <functional>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{
namespace
{

class DesktopBusManagerTest : public RaucBusTest
{
protected:
    using M = DesktopBusManager;
    using Out = std::array<String, 3>;

    struct Operation
    {
        /// The call that RAUC receives, or the property.
        String member;
        std::function<bool(M& manager, Out& out)> call;
        /// The result and the out-parameters.
        String success;
    };

    static std::vector<Operation> AllOperations()
    {
        const auto version = [](M& m, Out& out) { return m.GetVersion("/bundle", out[0], out[1]); };
        const auto primary = [](M& m, Out& out) { return m.GetPrimarySlot(out[0]); };
        const auto booted = [](M& m, Out& out) { return m.GetBootedSlot(out[0], out[1], out[2]); };
        const auto other = [](M& m, Out& out) { return m.GetOtherValidSlot(out[0], out[1], out[2]); };
        const auto compatible = [](M& m, Out& out) { return m.GetCompatible(out[0]); };
        const auto canInstall = [](M& m, Out&) { return m.CanInstall(); };
        const auto mark = [](M& m, Out&) { return m.SwitchSlot("rootfs.1"); };
        const auto install = [](M& m, Out&) { return m.Install("/bundle"); };
        return {{"Info", version, "true, 3.1.4.0, Controller, before"},
                {"GetPrimary", primary, "true, rootfs.0, before, before"},
                {"GetSlotStatus", booted, "true, rootfs.0, 2.0.0.0, " + ScriptedSlot::DefaultSha256},
                {"GetSlotStatus", other, "true, rootfs.1, 1.0.0.0, " + ScriptedSlot::DefaultSha256},
                {"Compatible", compatible, "true, Controller, before, before"},
                {"Operation", canInstall, Untouched("true")},
                {"Mark", mark, Untouched("true")},
                {Install, install, Untouched("true")}};
    }

    static String Untouched(const String& result) { return result + ", before, before, before"; }

    /// Returns the result and the out-parameters, which are "before" until they are written.
    String Run(const Operation& operation)
    {
        log->Clear();
        rauc.ClearCalls();
        Out out = {"before", "before", "before"};
        const String result = operation.call(manager, out) ? "true" : "false";
        return result + ", " + out[0] + ", " + out[1] + ", " + out[2];
    }

    /// Expects every operation but `except` to fail when it gets `answer`, with this last error.
    void ExpectFailures(const Answer& answer, std::size_t calls, const String& error,
                        const String& except = "")
    {
        for (const auto& operation : AllOperations())
        {
            rauc.SetAnswer(operation.member, answer);
            const bool isException = operation.member == except;
            EXPECT_EQ(Run(operation), isException ? operation.success : Untouched("false"));
            EXPECT_EQ(rauc.GetCalls().size() + rauc.GetPropertyCalls().size(), calls) << operation.member;
            const auto errors = GetErrors();
            EXPECT_EQ(errors.empty() ? "" : errors.back(), isException ? "" : error) << operation.member;
            rauc.SetNormalAnswer(operation.member);
        }
    }

    inline static const String Install = "InstallBundle";
    DesktopBusManager manager;
};

TEST_F(DesktopBusManagerTest, EveryOperationSendsWhatRaucExpectsAndGivesWhatItAnswers)
{
    rauc.AddBundle("/bundle", "3.1.4.0");
    ASSERT_TRUE(manager.Open());
    Lines calls;
    for (const auto& operation : AllOperations())
    {
        EXPECT_EQ(Run(operation), operation.success) << operation.member;
        EXPECT_EQ(GetErrors(), Lines());
        const auto properties = rauc.GetPropertyCalls();
        const auto call = properties.empty() ? rauc.GetCalls().at(0) : properties[0];
        calls.push_back(call.member + " " + call.signature + " " + Join(call.arguments, ", "));
    }
    const String get = "Get ss de.pengutronix.rauc.Installer, ";
    EXPECT_EQ(
        Join(calls, "; "),
        "Info s /bundle; GetPrimary  ; GetSlotStatus  ; GetSlotStatus  ; " + get + "Compatible; " + get +
            "Operation; Mark ss active, rootfs.1; InstallBundle sa{sv} /bundle, [{ignore-compatible=false}]");
}

TEST_F(DesktopBusManagerTest, AFailureIsLoggedAndLeavesTheOutParametersAlone)
{
    for (const auto& operation : AllOperations())
    {
        EXPECT_EQ(Run(operation), Untouched("false")) << operation.member;
        EXPECT_EQ(GetErrors(), Lines{operation.member == Install
                                         ? "error DesktopBusConnection: Out of mem dbus error."
                                         : "error DesktopBusManager: D-BUS connection is not established."});
    }
    ASSERT_TRUE(manager.Open());
    const String error = "error DesktopBusMethod: Error: ";
    const String noReply = "org.freedesktop.DBus.Error.NoReply";
    ExpectFailures(Answer::Refusal("no {0}\n"), 1, error + Answer::RefusalError + " - no {0}\n");
    ExpectFailures(Answer::Error(noReply, "late"), 2, error + noReply + " - late");
    ExpectFailures(Answer::Texts({}), 1, "error DesktopBusMethod: Failed to read reply", Install);
    rauc.Vanish();
    ExpectFailures(Answer::None(), 0,
                   error + "org.freedesktop.DBus.Error.ServiceUnknown - The name de.pengutronix.rauc was not "
                           "provided by any .service files");
}

TEST_F(DesktopBusManagerTest, TheFirstFittingSlotByNameIsChosen)
{
    const auto slot = [](const String& name, const String& state, const String& boot, const String& status)
    { return ScriptedSlot(name, "X", state).Written("1").Set("boot-status", boot).Set("status", status); };
    const auto choose = [this](const std::vector<ScriptedSlot>& slots)
    {
        rauc.SetSlots(slots);
        String booted = "none";
        String other = "none";
        String text;
        const bool isBooted = manager.GetBootedSlot(booted, text, text);
        const bool isOther = manager.GetOtherValidSlot(other, text, text);
        EXPECT_TRUE(isBooted == (booted != "none") && isOther == (other != "none"));
        return booted + ", " + other;
    };
    ASSERT_TRUE(manager.Open());
    const auto good = slot("a.2", "inactive", "good", "ok");
    EXPECT_EQ(choose({good, slot("a.10", "inactive", "good", "ok"), slot("a.0", "booted", "good", "ok")}),
              "a.0, a.10");
    EXPECT_EQ(choose({slot("a.0", "inactive", "bad", "ok"), slot("a.1", "inactive", "good", "pending"),
                      slot("a.2", "active", "good", "ok"), slot("a.3", "Inactive", "good", "ok")}),
              "none, none");
    EXPECT_EQ(choose({ScriptedSlot("a.0", "A", "booted"), ScriptedSlot("a.1", "B", "inactive")}),
              "a.0, none");
    RaucSlotStatus status;
    String name;
    EXPECT_THROW(static_cast<void>(manager.GetSlot(nullptr, name, status)), std::bad_function_call);
    EXPECT_EQ(choose({}), "none, none");
    EXPECT_FALSE(manager.GetSlot(nullptr, name, status));
    EXPECT_EQ(GetErrors(), Lines());
}

TEST_F(DesktopBusManagerTest, TextThatCannotBeSentIsAFailureOfTheCall)
{
    ASSERT_TRUE(manager.Open());
    EXPECT_FALSE(manager.Install("/bundle\xFF") || manager.SwitchSlot(String("rootfs.0\0", 9)));
    EXPECT_EQ(GetErrors(), (Lines{"error RaucInstallBundleMethod: Failed to add arguments for dbus call.",
                                  "error RaucMarkMethod: Failed to add arguments for dbus call."}));
    EXPECT_TRUE(rauc.GetCalls().empty());
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
