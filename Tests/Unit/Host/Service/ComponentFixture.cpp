#include "ComponentFixture.h"

#include <fcntl.h>
#include <systemd/sd-event.h>

#include <filesystem>

namespace Zel::Host::Service
{

using Tests::Support::FakeUpdaterModule;

ComponentFixture::ComponentFixture()
{
    script->SetVersion(FileType::Current, "1.0.0.0");
    component.SetChangeHandler(
        [this](const std::vector<String>& properties)
        {
            ++announcements;
            changed.insert(properties.begin(), properties.end());
        });
}

ComponentEnvironment ComponentFixture::MakeEnvironment()
{
    return {loop,
            delivery,
            status,
            [this] { return std::make_unique<FakeUpdaterModule>(script); },
            "settings.xml",
            [this](const RaucAnswerHandler& handler) {
                handler({rauc, primarySlot, "A"});
            },
            [this](const String& path, InspectionFacts facts, const BundleInspector::Handler& handler)
            {
                inspected = path;
                facts.bundle = bundle;
                facts.refusal = bundle ? "" : "rauc info error";
                facts.deviceCompatible = "Controller";
                handler(facts);
            },
            [this] { ++restarts; },
            [this](const RequestResult& result) { starts.push_back(result); },
            [this](const String& /*reason*/) { ++startDelays; },
            [this](const String& version, const String& reason)
            { interruptions.push_back(version + ": " + reason); }};
}

ComponentFixture::ResultCode ComponentFixture::Begin(IUpdaterStatus& status, const String& revision,
                                                     long long /*delay*/)
{
    return status.BeginInstallation(Id, true) &&
                   status.WriteProperty(Id, StatusStore::TargetVersionProperty, revision, true) &&
                   status.WriteProperty(Id, StatusStore::InstallerSlotProperty, "rootfs.0", true)
               ? ResultCode::Ok
               : ResultCode::OperationFailed;
}

void ComponentFixture::BeginInThisBoot(std::int64_t dueTime)
{
    status->SetUpcoming(Id, {"A", false, "1.0.0.0", "2.0.0.0", dueTime});
    ASSERT_EQ(Begin(*status, "2.0.0.0", 0), ResultCode::Ok);
}

bool ComponentFixture::RunUntil(const std::function<bool()>& condition)
{
    constexpr std::uint64_t Step = 10000; // microseconds
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition() && std::chrono::steady_clock::now() < deadline)
    {
        sd_event_run(loop.Get(), Step);
    }
    return condition();
}

RequestResult ComponentFixture::Ask(const std::function<void(const Completion& done)>& request)
{
    std::optional<RequestResult> result;
    request([&result](const RequestResult& given) { result = given; });
    EXPECT_TRUE(RunUntil([&] { return result.has_value(); })) << "The request has no end.";
    return result.value_or(RequestResult());
}

RequestResult ComponentFixture::Start()
{
    starts.clear();
    component.Start();
    EXPECT_TRUE(RunUntil([this] { return !starts.empty(); })) << "The start has no end.";
    return starts.empty() ? RequestResult() : starts.front();
}

RequestResult ComponentFixture::Stage(const String& content)
{
    const String path = folder.Write("bundle", content);
    return Ask([&](const Completion& done)
               { component.Stage(Delivery::FileDescriptor::Open(path, O_RDONLY), "A", done); });
}

RequestResult ComponentFixture::Install(const InstallRequest& request)
{
    return Ask([&](const Completion& done) { component.Install(request, "A", done); });
}

RequestResult ComponentFixture::Cancel()
{
    return Ask([&](const Completion& done) { component.Cancel("A", done); });
}

RequestResult ComponentFixture::Resume()
{
    return Ask([&](const Completion& done) { component.Resume("A", done); });
}

bool ComponentFixture::IsDeliveryEmpty() const
{
    return std::filesystem::is_empty(folder / "delivery");
}

} // namespace Zel::Host::Service
