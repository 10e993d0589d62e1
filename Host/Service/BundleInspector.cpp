#include "Service/BundleInspector.h"

#include "Service/RaucWatch.h"

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
                   [this](const std::optional<RaucBundle>& bundle, const BusAnswer& answer)
                   {
                       InspectionFacts& facts = inquiry->facts;
                       facts.rauc = RaucWatch::Classify(answer);
                       if (facts.rauc != RaucState::Resting)
                       {
                           // Gone in the middle, for example: that says nothing about the bundle.
                           AskLogind();
                           return;
                       }
                       facts.bundle = bundle;
                       if (!bundle)
                       {
                           facts.refusal = answer.IsOk() ? "Its answer is not understood." : answer.text;
                       }
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
