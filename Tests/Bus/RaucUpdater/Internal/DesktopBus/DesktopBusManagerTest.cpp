#include "RaucUpdater/Internal/DesktopBus/DesktopBusManager.h"

#include "RaucBusTest.h"

#include <functional>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

namespace
{

const String NoReply = "org.freedesktop.DBus.Error.NoReply";

class DesktopBusManagerTest : public RaucBusTest
{
protected:
    using Manager = DesktopBusManager;

    /// An operation, its out-parameters as a list.
    struct Operation
    {
        String name;
        /// The call that RAUC receives, or the property.
        String member;
        std::function<bool(Manager& asked, Lines& out)> call;
        /// "true", and then the out-parameters.
        Lines success;
    };

    static std::vector<Operation> AllOperations()
    {
        const String& sha256 = ScriptedSlot::DefaultSha256;
        const auto install = [](Manager& asked, Lines&) { return asked.Install("/bundle"); };
        const auto version = [](Manager& asked, Lines& out)
        { return asked.GetVersion("/bundle", out[0], out[1]); };
        const auto primary = [](Manager& asked, Lines& out) { return asked.GetPrimarySlot(out[0]); };
        const auto booted = [](Manager& asked, Lines& out)
        { return asked.GetBootedSlot(out[0], out[1], out[2]); };
        const auto other = [](Manager& asked, Lines& out)
        { return asked.GetOtherValidSlot(out[0], out[1], out[2]); };
        const auto mark = [](Manager& asked, Lines&) { return asked.SwitchSlot("rootfs.1"); };
        const auto canInstall = [](Manager& asked, Lines&) { return asked.CanInstall(); };
        const auto compatible = [](Manager& asked, Lines& out) { return asked.GetCompatible(out[0]); };
        return {{"Install", "InstallBundle", install, {"true"}},
                {"GetVersion", "Info", version, {"true", "3.1.4.0", "Controller"}},
                {"GetPrimarySlot", "GetPrimary", primary, {"true", "rootfs.0"}},
                {"GetBootedSlot", "GetSlotStatus", booted, {"true", "rootfs.0", "2.0.0.0", sha256}},
                {"GetOtherValidSlot", "GetSlotStatus", other, {"true", "rootfs.1", "1.0.0.0", sha256}},
                {"SwitchSlot", "Mark", mark, {"true"}},
                {"CanInstall", "Operation", canInstall, {"true"}},
                {"GetCompatible", "Compatible", compatible, {"true", "Controller"}}};
    }

    /// Returns the result and the out-parameters, which are "before" until they are written.
    Lines Run(const Operation& operation)
    {
        Lines out(operation.success.size() - 1, "before");
        Lines result = {operation.call(manager, out) ? "true" : "false"};
        result.insert(result.end(), out.begin(), out.end());
        return result;
    }

    /// What an operation returns that failed and left its out-parameters alone.
    static Lines Failure(const Operation& operation)
    {
        Lines result(operation.success.size(), "before");
        result[0] = "false";
        return result;
    }

    DesktopBusManager manager;
};

TEST_F(DesktopBusManagerTest, EveryOperationGivesWhatRaucAnswers)
{
    rauc.AddBundle("/bundle", "3.1.4.0");
    ASSERT_TRUE(manager.Open());
    auto operations = AllOperations();
    // Last, since it changes the slots.
    std::rotate(operations.begin(), operations.begin() + 1, operations.end());
    for (const auto& operation : operations)
    {
        EXPECT_EQ(Run(operation), operation.success) << operation.name;
    }
    EXPECT_EQ(GetErrors(), Lines());
}

TEST_F(DesktopBusManagerTest, CallsHaveTheArgumentsThatRaucExpects)
{
    ASSERT_TRUE(manager.Open());
    for (const auto& operation : AllOperations())
    {
        static_cast<void>(Run(operation));
    }
    EXPECT_EQ(rauc.GetCalls(),
              (std::vector<Call>{{"InstallBundle", {"/bundle", "[{ignore-compatible=false}]"}, "sa{sv}"},
                                 {"Info", {"/bundle"}, "s"},
                                 {"GetPrimary", {}, ""},
                                 {"GetSlotStatus", {}, ""},
                                 {"GetSlotStatus", {}, ""},
                                 {"Mark", {"active", "rootfs.1"}, "ss"}}));
    const String installer = DesktopBusManager::DesktopBusInterfaceRauc;
    EXPECT_EQ(rauc.GetPropertyCalls(), (std::vector<Call>{{"Get", {installer, "Operation"}, "ss"},
                                                          {"Get", {installer, "Compatible"}, "ss"}}));
}

TEST_F(DesktopBusManagerTest, WithoutAConnectionEveryOperationFailsAndSaysSo)
{
    for (const auto& operation : AllOperations())
    {
        log->Clear();
        EXPECT_EQ(Run(operation), Failure(operation)) << operation.name;
        const Lines expected = operation.name == "Install"
                                   ? Lines{"error DesktopBusConnection: Out of mem dbus error."}
                                   : Lines{"error DesktopBusManager: D-BUS connection is not established."};
        EXPECT_EQ(GetErrors(), expected) << operation.name;
    }
}

TEST_F(DesktopBusManagerTest, ARefusalIsLoggedAndNotRepeated)
{
    ASSERT_TRUE(manager.Open());
    for (const auto& operation : AllOperations())
    {
        rauc.SetAnswer(operation.member, Answer::Refusal("no {0}\n"));
        rauc.ClearCalls();
        log->Clear();
        EXPECT_EQ(Run(operation), Failure(operation)) << operation.name;
        EXPECT_EQ(GetErrors(),
                  Lines{"error DesktopBusMethod: Error: " + Answer::RefusalError + " - no {0}\n"});
        EXPECT_EQ(rauc.GetCalls().size() + rauc.GetPropertyCalls().size(), 1U) << operation.name;
        rauc.SetNormalAnswer(operation.member);
    }
}

TEST_F(DesktopBusManagerTest, ACallWithoutAReplyIsSentASecondAndLastTime)
{
    ASSERT_TRUE(manager.Open());
    for (const auto& operation : AllOperations())
    {
        rauc.SetAnswer(operation.member, Answer::Error(NoReply, "late"));
        rauc.ClearCalls();
        log->Clear();
        EXPECT_EQ(Run(operation), Failure(operation)) << operation.name;
        const String error = "error DesktopBusMethod: Error: " + NoReply + " - late";
        EXPECT_EQ(log->GetLinesOf("DesktopBusMethod"),
                  (Lines{error, "debug DesktopBusMethod: Retry", error}));
        EXPECT_EQ(rauc.GetCalls().size() + rauc.GetPropertyCalls().size(), 2U) << operation.name;
        rauc.SetNormalAnswer(operation.member);
    }
}

TEST_F(DesktopBusManagerTest, AReplyOfAnotherShapeFailsWithTheReason)
{
    ASSERT_TRUE(manager.Open());
    const Lines errors = {"error RaucInfoMethod: Failed to get fields. Fields: []",
                          "error RaucGetPrimaryMethod: There are not any fields. Fields: []",
                          "error RaucGetSlotStatusMethod: Failed to enter array. Fields: []",
                          "error RaucGetSlotStatusMethod: Failed to enter array. Fields: []",
                          "error RaucMarkMethod: Failed to get fields. Fields: []",
                          "error RaucOperationProperty: Failed to enter variant. Fields: []",
                          "error RaucCompatibleProperty: Failed to enter variant. Fields: []"};
    auto error = errors.begin();
    for (const auto& operation : AllOperations())
    {
        rauc.SetAnswer(operation.member, Answer::Texts({}));
        log->Clear();
        if (operation.name == "Install")
        {
            // Its reply is not looked at.
            EXPECT_EQ(Run(operation), operation.success);
            continue;
        }
        EXPECT_EQ(Run(operation), Failure(operation)) << operation.name;
        EXPECT_EQ(GetErrors(), (Lines{*error++, "error DesktopBusMethod: Failed to read reply"}));
    }
}

TEST_F(DesktopBusManagerTest, AnAbsentRaucIsAFailure)
{
    ASSERT_TRUE(manager.Open());
    rauc.Vanish();
    EXPECT_FALSE(manager.CanInstall());
    EXPECT_EQ(GetErrors(),
              Lines{"error DesktopBusMethod: Error: org.freedesktop.DBus.Error.ServiceUnknown - The name "
                    "de.pengutronix.rauc was not provided by any .service files"});
}

TEST_F(DesktopBusManagerTest, TheFirstFittingSlotByNameIsChosen)
{
    const auto slot =
        [](const String& name, const String& state, const String& bootStatus, const String& status)
    {
        auto made =
            ScriptedSlot(name, "X", state).Written("version of " + name).Set("boot-status", bootStatus);
        return made.Set("status", status);
    };

    struct Case
    {
        String name;
        std::vector<ScriptedSlot> slots;
        String booted;
        String other;
    };

    const std::vector<Case> cases = {
        {"smallest name",
         {slot("rootfs.2", "inactive", "good", "ok"), slot("rootfs.10", "inactive", "good", "ok"),
          slot("rootfs.0", "booted", "good", "ok")},
         "rootfs.0",
         "rootfs.10"},
        {"bad ones",
         {slot("a.0", "inactive", "bad", "ok"), slot("a.1", "inactive", "good", "pending"),
          slot("a.2", "active", "good", "ok"), slot("a.3", "Inactive", "good", "ok")},
         "",
         ""},
        {"never written",
         {ScriptedSlot("a.0", "A", "booted"), ScriptedSlot("a.1", "B", "inactive")},
         "a.0",
         ""},
        {"none", {}, "", ""},
    };
    ASSERT_TRUE(manager.Open());
    for (const auto& expected : cases)
    {
        rauc.SetSlots(expected.slots);
        String version;
        String sha256;
        String booted;
        String other;
        EXPECT_EQ(manager.GetBootedSlot(booted, version, sha256), !expected.booted.empty()) << expected.name;
        EXPECT_EQ(booted, expected.booted) << expected.name;
        EXPECT_EQ(manager.GetOtherValidSlot(other, version, sha256), !expected.other.empty())
            << expected.name;
        EXPECT_EQ(other, expected.other) << expected.name;
    }
    EXPECT_EQ(GetErrors(), Lines());
}

TEST_F(DesktopBusManagerTest, APredicateThatCannotBeCalledThrowsWhenThereIsASlot)
{
    ASSERT_TRUE(manager.Open());
    String slotName;
    RaucSlotStatus status;
    EXPECT_THROW(static_cast<void>(manager.GetSlot(nullptr, slotName, status)), std::bad_function_call);
    rauc.SetSlots({});
    EXPECT_FALSE(manager.GetSlot(nullptr, slotName, status));
}

TEST_F(DesktopBusManagerTest, TextThatCannotBeSentIsAFailureOfTheCall)
{
    ASSERT_TRUE(manager.Open());
    EXPECT_FALSE(manager.Install("/bundle\xFF"));
    EXPECT_FALSE(manager.SwitchSlot(String("rootfs.0\0", 9)));
    EXPECT_EQ(GetErrors(), (Lines{"error RaucInstallBundleMethod: Failed to add arguments for dbus call.",
                                  "error RaucMarkMethod: Failed to add arguments for dbus call."}));
    EXPECT_TRUE(rauc.GetCalls().empty());
}

TEST_F(DesktopBusManagerTest, BusyMeansThatNothingCanBeInstalled)
{
    ASSERT_TRUE(manager.Open());
    rauc.HoldInstallation();
    ASSERT_TRUE(manager.Install("/bundle"));
    EXPECT_FALSE(manager.CanInstall());
    String slotName = "before";
    EXPECT_FALSE(manager.GetPrimarySlot(slotName));
    EXPECT_EQ(GetErrors(), Lines{"error DesktopBusMethod: Error: " + Answer::RefusalError +
                                 " - already processing a different method"});
    rauc.ReleaseInstallation();
    EXPECT_TRUE(manager.CanInstall());
    EXPECT_TRUE(manager.GetPrimarySlot(slotName));
    EXPECT_EQ(slotName, "rootfs.1");
}

} // namespace

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
