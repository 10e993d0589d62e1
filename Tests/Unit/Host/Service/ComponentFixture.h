#pragma once

#include "Service/Component.h"

#include "Support/FakeUpdaterModule.h"
#include "Support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>

namespace Zel::Host::Service
{

/// A component over a fake module and a RAUC that answers as the test says, on a loop that the test runs.
class ComponentFixture : public testing::Test
{
protected:
    using FileType = Tests::Support::ModuleScript::FileType;
    using IUpdaterStatus = Tests::Support::ModuleScript::IUpdaterStatus;
    using ResultCode = Tests::Support::ModuleScript::ResultCode;

    inline static const String Id = "Controller";

    ComponentFixture();

    /// Begins an installation, as a module does.
    static ResultCode Begin(IUpdaterStatus& status, const String& revision, long long delay);
    /// Leaves an installation behind in the store that began in the present boot on rootfs.0.
    void BeginInThisBoot(std::int64_t dueTime = 0);

    /// Runs the loop until `condition` holds; false when it does not within 10 s.
    [[nodiscard]] bool RunUntil(const std::function<bool()>& condition);

    /// Makes a request and runs the loop until it has ended.
    [[nodiscard]] RequestResult Ask(const std::function<void(const Completion& done)>& request);

    RequestResult Start();
    RequestResult Stage(const String& content = "content");
    RequestResult Install(const InstallRequest& request = {});
    RequestResult Cancel();
    RequestResult Resume();

    [[nodiscard]] bool IsDeliveryEmpty() const;
    [[nodiscard]] ComponentEnvironment MakeEnvironment();

    const Tests::Support::TemporaryFolder folder;
    EventLoop loop;
    Delivery delivery{folder / "delivery"};
    const std::shared_ptr<Tests::Support::ModuleScript> script =
        std::make_shared<Tests::Support::ModuleScript>();
    RaucState rauc = RaucState::Resting;
    String primarySlot = "rootfs.0";
    /// What RAUC says of an inspected bundle, and the file that it was asked about.
    std::optional<RaucBundle> bundle;
    String inspected;
    int restarts = 0;
    int startDelays = 0;
    std::vector<RequestResult> starts;
    std::vector<String> interruptions;
    int announcements = 0;
    std::set<String> changed;
    const std::shared_ptr<PersistentUpdaterStatus> status = std::make_shared<PersistentUpdaterStatus>(
        std::make_shared<StatusStore>(folder / "state"), "boot", 0,
        [this](const String& /*componentId*/) { loop.Post([this] { component.OnStatusChanged(); }); });
    Component component{Id, MakeEnvironment()};
};

} // namespace Zel::Host::Service
