#include "Service/BundleInspector.h"

#include <utility>

namespace Zel::Host::Service
{

BundleInspector::BundleInspector(BusConnection& connection, bool asksLogind)
    : rauc(connection), logind(connection), asksLogind(asksLogind)
{
}

BundleInspector::~BundleInspector()
{
    Finish();
}

void BundleInspector::Inspect(const String& path, InspectionFacts facts, Handler handler)
{
    if (inquiry)
    {
        handler(facts);
        return;
    }
    inquiry = std::make_unique<Inquiry>(Inquiry{std::move(facts), std::move(handler)});
    if (inquiry->facts.rauc != RaucState::Resting)
    {
        AskLogind();
    }
    else if (path.empty())
    {
        AskCompatible();
    }
    else
    {
        AskBundle(path);
    }
}

void BundleInspector::AskBundle(const String& path)
{
    rauc.GetBundle(path,
                   [this](const std::optional<RaucBundle>& bundle, const String& reason)
                   {
                       inquiry->facts.bundle = bundle;
                       inquiry->facts.refusal = reason;
                       AskCompatible();
                   });
}

void BundleInspector::AskCompatible()
{
    rauc.GetText("Compatible",
                 [this](const BusAnswer& answer)
                 {
                     inquiry->facts.deviceCompatible = answer.IsOk() ? answer.text : String();
                     AskSlots();
                 });
}

void BundleInspector::AskSlots()
{
    rauc.GetSlots(
        [this](const std::vector<RaucSlot>& slots)
        {
            inquiry->facts.slots = slots;
            AskLogind();
        });
}

void BundleInspector::AskLogind()
{
    if (!asksLogind)
    {
        Finish();
        return;
    }
    logind.CanReboot(
        [this](const String& obstacle)
        {
            inquiry->facts.restartObstacle = obstacle;
            Finish();
        });
}

void BundleInspector::Finish()
{
    if (const auto ended = std::exchange(inquiry, nullptr))
    {
        EventLoop::Guard([&] { ended->handler(ended->facts); });
    }
}

} // namespace Zel::Host::Service
