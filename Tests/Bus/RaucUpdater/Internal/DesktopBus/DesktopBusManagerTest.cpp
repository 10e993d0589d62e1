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
    using Out = std::array<String, 3>;

    struct Operation
    {
        /// The call that RAUC receives, or the property.
        String member;
        std::function<bool(DesktopBusManager& manager, Out& out)> call;
        /// The result and the out-parameters.
        String success;
    };

    /// Returns the result and the out-parameters, which are "before" until they are written.
    String Run(const Operation& operation)
    {
        log->Clear();
        rauc.ClearCalls();
        Out out = {"before", "before", "before"};
        const String result = operation.call(manager, out) ? "true, " : "false, ";
        return result + out[0] + ", " + out[1] + ", " + out[2];
    }

    /// Expects every operation but `except` to fail when it gets `answer`, with this last error.
    void ExpectFailures(const Answer& answer, std::size_t calls, const String& error,
                        const String& except = "")
    {
        for (const auto& operation : operations)
        {
            rauc.SetAnswer(operation.member, answer);
            const bool isException = operation.member == except;
            EXPECT_EQ(Run(operation), isException ? operation.success : Failed);
            EXPECT_EQ(rauc.GetCalls().size() + rauc.GetPropertyCalls().size(), calls) << operation.member;
            const auto errors = GetErrors();
            EXPECT_EQ(errors.empty() ? "" : errors.back(), isException ? "" : error) << operation.member;
            rauc.SetNormalAnswer(operation.member);
        }
    }

    inline static const String Install = "InstallBundle";
    inline static const String Done = "true, before, before, before";
    inline static const String Failed = "false, before, before, before";

    const std::vector<Operation> operations = {
        {"Info", [](auto& m, auto& out) { return m.GetVersion("/bundle", out[0], out[1]); },
         "true, 3.1.4.0, Controller, before"},
        {"GetPrimary", [](auto& m, auto& out) { return m.GetPrimarySlot(out[0]); },
         "true, rootfs.0, before, before"},
        {"GetSlotStatus", [](auto& m, auto& out) { return m.GetBootedSlot(out[0], out[1], out[2]); },
         "true, rootfs.0, 2.0.0.0, " + ScriptedSlot::DefaultSha256},
        {"GetSlotStatus", [](auto& m, auto& out) { return m.GetOtherValidSlot(out[0], out[1], out[2]); },
         "true, rootfs.1, 1.0.0.0, " + ScriptedSlot::DefaultSha256},
        {"Compatible", [](auto& m, auto& out) { return m.GetCompatible(out[0]); },
         "true, Controller, before, before"},
        {"Operation", [](auto& m, auto&) { return m.CanInstall(); }, Done},
        {"Mark", [](auto& m, auto&) { return m.SwitchSlot("rootfs.1"); }, Done},
        {Install, [](auto& m, auto&) { return m.Install("/bundle"); }, Done}};
    DesktopBusManager manager;
};

TEST_F(DesktopBusManagerTest, EveryOperationSendsWhatRaucExpectsAndGivesWhatItAnswers)
{
    rauc.AddBundle("/bundle", "3.1.4.0");
    ASSERT_TRUE(manager.Open());
    String calls;
    for (const auto& operation : operations)
    {
        EXPECT_EQ(Run(operation), operation.success) << operation.member;
        EXPECT_EQ(GetErrors(), Lines());
        const auto properties = rauc.GetPropertyCalls();
        const auto call = properties.empty() ? rauc.GetCalls().at(0) : properties[0];
        calls += call.member + " " + call.signature + " " + Join(call.arguments, ", ") + "; ";
    }
    const String get = "Get ss de.pengutronix.rauc.Installer, ";
    EXPECT_EQ(calls, "Info s /bundle; GetPrimary  ; GetSlotStatus  ; GetSlotStatus  ; " + get +
                         "Compatible; " + get + "Operation; Mark ss active, rootfs.1; " +
                         "InstallBundle sa{sv} /bundle, [{ignore-compatible=false}]; ");
}

TEST_F(DesktopBusManagerTest, AFailureIsLoggedAndLeavesTheOutParametersAlone)
{
    const String closed = "error DesktopBusManager: D-BUS connection is not established.";
    for (const auto& operation : operations)
    {
        EXPECT_EQ(Run(operation), Failed) << operation.member;
        EXPECT_EQ(GetErrors(),
                  Lines{operation.member == Install ? "error DesktopBusConnection: Out of mem dbus error."
                                                    : closed});
    }
    ASSERT_TRUE(manager.Open());
    const String error = "error DesktopBusMethod: Error: ";
    const String noReply = "org.freedesktop.DBus.Error.NoReply";
    ExpectFailures(Answer::Refusal("no {0}\n"), 1, error + Answer::RefusalError + " - no {0}\n");
    ExpectFailures(Answer::Error(noReply, "late"), 2, error + noReply + " - late");
    ExpectFailures(Answer::Texts({}), 1, "error DesktopBusMethod: Failed to read reply", Install);
    EXPECT_FALSE(manager.Install("/bundle\xFF") || manager.SwitchSlot(String("rootfs.0\0", 9)));
    EXPECT_EQ(GetErrors().back(), "error RaucMarkMethod: Failed to add arguments for dbus call.");
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
    EXPECT_EQ(choose({slot("a.2", "inactive", "good", "ok"), slot("a.10", "inactive", "good", "ok"),
                      slot("a.0", "booted", "good", "ok")}),
              "a.0, a.10");
    EXPECT_EQ(choose({slot("a.0", "inactive", "bad", "ok"), slot("a.1", "inactive", "good", "pending"),
                      slot("a.2", "active", "good", "ok"), slot("a.3", "Inactive", "good", "ok")}),
              "none, none");
    EXPECT_EQ(choose({ScriptedSlot("a.0", "A", "booted"), ScriptedSlot("a.1", "B", "inactive")}),
              "a.0, none");
    EXPECT_EQ(choose({}), "none, none");
    EXPECT_EQ(GetErrors(), Lines());
}

} // namespace
} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
