#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include "RaucBusTest.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

struct DesktopBusManagerTest : RaucBusTest
{
    using Out = std::array<String, 3>;

    struct Operation
    {
        std::function<bool(DesktopBusManager& manager, Out& out)> call;
        /// The result and the out-parameters.
        String success;
        /// The call that RAUC receives, or the property, with signature and arguments.
        String sent;
    };

    /// Returns the result and the out-parameters, which are "before" until they are written, and what RAUC
    /// received.
    String Run(const Operation& operation)
    {
        log.Clear();
        rauc->calls.clear();
        Out out = {"before", "before", "before"};
        String told = operation.call(manager, out) ? "true, " : "false, ";
        told += out[0] + ", " + out[1] + ", " + out[2];
        for (const auto& call : std::vector(rauc->calls))
        {
            told += "; " + call.member + " " + call.signature + " " + Join(call.arguments, ", ");
        }
        return told;
    }

    /// Expects every operation to fail after so many calls that get `answer`, with this last error.
    void ExpectFailures(const Answer& answer, std::size_t calls, const String& error)
    {
        for (const auto& operation : operations)
        {
            const String member = operation.sent.substr(0, operation.sent.find(' '));
            rauc->answers[member] = answer;
            Lines told(calls + 1, operation.sent);
            told.front() = "false, before, before, before";
            // An installation has no answer that could be of another shape.
            const bool isRead = error == Unreadable && member == "InstallBundle";
            EXPECT_EQ(Run(operation), isRead ? operation.success + "; " + operation.sent : Join(told, "; "));
            EXPECT_EQ(isRead ? error : GetErrors().back(), error) << operation.sent;
            rauc->answers.clear();
        }
    }

    inline static const String Error = "error DesktopBusMethod: Error: ";
    inline static const String Unreadable = "error DesktopBusMethod: Failed to read reply";
    inline static const String Done = "true, before, before, before";
    inline static const String Property = " ss de.pengutronix.rauc.Installer, ";

    const std::vector<Operation> operations = {
        {[](auto& m, auto& out) { return m.GetVersion("/bundle", out[0], out[1]); },
         "true, 3.1.4.0, Controller, before", "Info s /bundle"},
        {[](auto& m, auto& out) { return m.GetPrimarySlot(out[0]); }, "true, rootfs.0, before, before",
         "GetPrimary  "},
        {[](auto& m, auto& out) { return m.GetBootedSlot(out[0], out[1], out[2]); },
         "true, rootfs.0, 2.0.0.0, 5feceb66", "GetSlotStatus  "},
        {[](auto& m, auto& out) { return m.GetOtherValidSlot(out[0], out[1], out[2]); },
         "true, rootfs.1, 1.0.0.0, 5feceb66", "GetSlotStatus  "},
        {[](auto& m, auto& out) { return m.GetCompatible(out[0]); }, "true, Controller, before, before",
         "Compatible" + Property + "Compatible"},
        {[](auto& m, auto&) { return m.CanInstall(); }, Done, "Operation" + Property + "Operation"},
        {[](auto& m, auto&) { return m.SwitchSlot("rootfs.1"); }, Done, "Mark ss active, rootfs.1"},
        {[](auto& m, auto&) { return m.Install("/bundle"); }, Done,
         "InstallBundle sa{sv} /bundle, ignore-compatible, false"}};
    /// In the order of the operations: the class of the call and what it traces up to the reply. That "Mark"
    /// has a text of "Info" is meant.
    const std::vector<Lines> traces = {
        {"RaucInfoMethod", "Add rauc bundle argument.", "Write info arguments.", "Queue rauc info message.",
         "Get rauc info reply."},
        {"RaucGetPrimaryMethod", "Queue rauc GetPrimary message.", "Get rauc GetPrimary reply."},
        {"RaucGetSlotStatusMethod", "Queue rauc GetSlotStatus message.", "Get rauc GetSlotStatus reply."},
        {"RaucGetSlotStatusMethod"},
        {"PropertyGetMethod", "Add property get interface argument.", "Add property get name argument.",
         "Write property get arguments.", "Queue property message.", "Get property reply."},
        {"PropertyGetMethod"},
        {"RaucMarkMethod", "Add rauc state argument.", "Add rauc slotIdentifier argument.",
         "Write info arguments.", "Queue rauc Mark message.", "Get rauc Mark reply."},
        {"RaucInstallBundleMethod", "Add rauc installBundle argument.", "Add array.", "Add dict.",
         "Add ignore-compatible.", "Add dict key of type string.", "Add variant.",
         "Add ignore-compatible value.", "Write installBundle arguments.",
         "Queue rauc installBundle message.", "Get rauc installBundle reply."}};
    DesktopBusManager manager;
};

TEST_F(DesktopBusManagerTest, EveryOperationSendsWhatRaucExpectsAndGivesWhatItAnswers)
{
    rauc->bundles["/bundle"] = {"Controller", "3.1.4.0"};
    ASSERT_TRUE(manager.Open());
    for (std::size_t i = 0; i < operations.size(); ++i)
    {
        const auto& operation = operations[i];
        EXPECT_EQ(Run(operation), operation.success + "; " + operation.sent);
        const String& logger = traces[i].front();
        const String told = "debug " + logger + ": Send message." +
                            Join(traces[i], "; trace " + logger + ": ").substr(logger.size());
        EXPECT_EQ(Join(log.GetLinesOf(logger), "; ").substr(0, told.size()), told);
        EXPECT_EQ(GetErrors(), Lines());
    }
    log.Clear();
    String name = "before";
    RaucSlotStatus status;
    EXPECT_FALSE(manager.GetSlot([](auto&) { return false; }, name, status));
    EXPECT_EQ(name + status.GetState(), "before");
    EXPECT_EQ(log.GetLinesOf("DesktopBusManager"), Lines());
}

TEST_F(DesktopBusManagerTest, AFailureIsLoggedAndLeavesTheOutParametersAlone)
{
    const String closed = "error DesktopBusManager: D-BUS connection is not established.";
    for (const auto& operation : operations)
    {
        EXPECT_EQ(Run(operation), "false, before, before, before");
        EXPECT_EQ(GetErrors(), Lines{operation.sent.starts_with("InstallBundle")
                                         ? "error DesktopBusConnection: Out of mem dbus error."
                                         : closed});
    }
    ASSERT_TRUE(manager.Open());
    const String noReply = "org.freedesktop.DBus.Error.NoReply";
    ExpectFailures(Answer::Refusal("no {0}\n"), 1, Error + Answer::RefusalError + " - no {0}\n");
    ExpectFailures({noReply + "s", {"late"}}, 1, Error + noReply + "s - late");
    ExpectFailures({noReply, {"late"}}, 2, Error + noReply + " - late");
    EXPECT_TRUE(log.WaitForLine("debug DesktopBusMethod: Retry"));
    ExpectFailures({}, 1, Unreadable);
    EXPECT_FALSE(manager.Install("/bundle\xFF") || manager.SwitchSlot(String("rootfs.0\0", 9)));
    EXPECT_EQ(GetErrors().back(), "error RaucMarkMethod: Failed to add arguments for dbus call.");
    rauc.Vanish();
    ExpectFailures(Answer::None(), 0,
                   Error + "org.freedesktop.DBus.Error.ServiceUnknown - The name de.pengutronix.rauc was not "
                           "provided by any .service files");
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
