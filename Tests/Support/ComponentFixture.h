#pragma once

#include "Support/FakeUpdaterModule.h"

#include "Service/Component.h"
#include "Service/Database.h"

#include <fcntl.h>
#include <systemd/sd-event.h>

#include <set>

namespace Zel::Host::Service
{

/// An event loop that the test runs.
struct LoopRunner
{
    /// Runs the loop until `condition` holds; false when it does not within 10 s.
    template <typename Condition>
    [[nodiscard]] bool RunUntil(const Condition& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition() && std::chrono::steady_clock::now() < deadline)
        {
            sd_event_run(loop.Get(), 10'000); // microseconds
        }
        return condition();
    }

    const Tests::Support::TemporaryFolder folder;
    EventLoop loop;
};

/// A component over a fake module and a RAUC that answers as the test says.
struct FakeDevice : LoopRunner
{
    using FileDescriptor = Delivery::FileDescriptor;
    using FileType = Tests::Support::ModuleScript::FileType;
    using InstallationState = Services::SoftwareUpdate::InstallationState;
    using IUpdaterStatus = Tests::Support::ModuleScript::IUpdaterStatus;
    using ResultCode = Tests::Support::ModuleScript::ResultCode;

    inline static const String Id = "Controller 750";

    FakeDevice()
    {
        script->SetVersion(FileType::Current, "1.0.0.0");
        component.GetView().SetChangeHandler(
            [this](const std::vector<String>& properties)
            {
                ++announcements;
                changed.insert(properties.begin(), properties.end());
            });
    }

    /// Begins an installation, as a module does.
    static ResultCode Begin(IUpdaterStatus& status, const String& revision, long long /*delay*/)
    {
        const bool begun = status.BeginInstallation(Id, true) &&
                           status.WriteProperty(Id, StatusStore::TargetVersionProperty, revision, true) &&
                           status.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.0", true);
        return begun ? ResultCode::Ok : ResultCode::OperationFailed;
    }

    /// Leaves an installation of the pending version behind in the store that began in the present boot on
    /// rootfs.0.
    void BeginInThisBoot(std::int64_t dueTime = 0)
    {
        script->SetVersion(FileType::Pending, "2.0.0.0");
        script->install = Begin;
        status->SetUpcoming(Id, {"A", false, "1.0.0.0", "2.0.0.0", dueTime});
        ASSERT_EQ(Begin(*status, "2.0.0.0", 0), ResultCode::Ok);
    }

    /// Has the status learn what was written to the store past it; any change does.
    void Reread() { EXPECT_TRUE(status->WriteProperty(Id, "None", "", true)); }

    /// Returns "ERROR: text", or nothing for a success.
    static String ToText(const RequestResult& result)
    {
        return result.IsOk() ? "" : result.error + ": " + result.text;
    }

    /// Makes a request and runs the loop until it has ended. Returns how, as text.
    template <typename... Parameters, typename... Arguments>
    String Ask(void (Component::*request)(Parameters...), Arguments&&... arguments)
    {
        std::optional<String> end;
        (component.*request)(std::forward<Arguments>(arguments)...,
                             [&end](const RequestResult& result) { end = ToText(result); });
        EXPECT_TRUE(RunUntil([&] { return end.has_value(); })) << "The request has no end.";
        return end.value_or("no end");
    }

    String Start()
    {
        starts.clear();
        component.Start();
        EXPECT_TRUE(RunUntil([this] { return !starts.empty(); })) << "The start has no end.";
        return starts.empty() ? "no end" : starts.front();
    }

    /// Starts with a pending version and a module that begins what it is asked for, and asks for `request`.
    void StartWithPending(const std::optional<InstallRequest>& request = {})
    {
        script->SetVersion(FileType::Pending, "2.0.0.0");
        script->install = Begin;
        ASSERT_EQ(Start(), "");
        ASSERT_EQ(request ? Install(*request) : "", "");
        script->calls.Clear();
    }

    [[nodiscard]] FileDescriptor OpenBundle() const
    {
        return FileDescriptor::Open(folder.Write("bundle", "content"), O_RDONLY);
    }

    String Stage() { return Ask(&Component::Stage, OpenBundle(), "A"); }

    String Install(const InstallRequest& request = {}) { return Ask(&Component::Install, request, "A"); }

    String Cancel() { return Ask(&Component::Cancel, "A"); }

    String Resume() { return Ask(&Component::Resume, "A"); }

    String Revert() { return Ask(&Component::Revert, "A"); }

    [[nodiscard]] const ComponentSnapshot& Now() const { return component.GetSnapshot(); }

    [[nodiscard]] bool IsDeliveryEmpty() const { return std::filesystem::is_empty(folder / "delivery"); }

    Delivery delivery{folder / "delivery"};
    const std::shared_ptr<Tests::Support::ModuleScript> script =
        std::make_shared<Tests::Support::ModuleScript>();
    RaucAnswer rauc = {RaucState::Resting, "rootfs.0", "A"};
    /// What RAUC says of an inspected bundle.
    std::optional<RaucBundle> bundle;
    /// Whether it goes while it looks at a bundle.
    bool goes = false;
    int restarts = 0;
    int startDelays = 0;
    std::vector<String> starts;
    std::vector<String> interruptions;
    std::vector<String> failures;
    /// Whether RAUC keeps its answers back, and to whom it owes them.
    bool holds = false;
    std::vector<RaucAnswerHandler> held;
    int announcements = 0;
    std::set<String> changed;
    const std::shared_ptr<StatusStore> store = std::make_shared<StatusStore>(folder / "state");
    /// The store's file, for those who change it behind the service's back.
    Database records{folder / "state/status.sqlite"};
    const std::shared_ptr<PersistentUpdaterStatus> status = std::make_shared<PersistentUpdaterStatus>(
        store, "boot", 0, [this](auto&) { loop.Post([this] { component.OnStatusChanged(); }); });
    Component component{Id, MakeEnvironment()};

    /// Returns what a component of this device needs.
    [[nodiscard]] ComponentEnvironment MakeEnvironment()
    {
        return {loop,
                delivery,
                status,
                [this] { return std::make_unique<Tests::Support::FakeUpdaterModule>(script); },
                "settings.xml",
                [this](const auto& handler) { holds ? held.push_back(handler) : handler(rauc); },
                [this](const String&, InspectionFacts facts, const BundleInspector::Handler& handler)
                {
                    facts.rauc = goes ? RaucState::Absent : facts.rauc;
                    facts.bundle = bundle;
                    facts.refusal = bundle || rauc.state != RaucState::Resting ? "" : "rauc info error";
                    facts.deviceCompatible = "Controller";
                    handler(facts);
                },
                [this] { ++restarts; },
                [this](const RequestResult& result) { starts.push_back(ToText(result)); },
                [this](auto&) { ++startDelays; },
                [this](auto& text) { interruptions.push_back(text); },
                [this](auto& text) { failures.push_back(text); },
                [] {}};
    }
};

struct ComponentFixture : testing::Test, FakeDevice
{
};

} // namespace Zel::Host::Service
