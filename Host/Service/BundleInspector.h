#pragma once

#include "Service/InstallationChecks.h"
#include "Service/Logind.h"
#include "Service/RaucClient.h"

#include <functional>
#include <memory>

namespace Zel::Host::Service
{

/// Collects what RAUC and logind say about an installation of a bundle, one inquiry at a time. Used on the
/// loop's thread.
class BundleInspector
{
public:
    using Handler = std::function<void(const InspectionFacts& facts)>;

    /// `asksLogind` where it is logind that restarts the device. The connection outlives the inspector.
    BundleInspector(BusConnection& connection, bool asksLogind);
    /// Whoever waits gets what is known by then.
    ~BundleInspector();
    BundleInspector(const BundleInspector&) = delete;
    BundleInspector& operator=(const BundleInspector&) = delete;

    /// Asks about the file at `path`, an empty one for none, adds what it hears to `facts` and calls the
    /// handler once. RAUC is asked only when it rests by them, and no one when an inquiry is under way. Where
    /// RAUC does not answer about the bundle any more, they say so.
    void Inspect(const String& path, InspectionFacts facts, Handler handler);

private:
    struct Inquiry
    {
        InspectionFacts facts;
        Handler handler;
    };

    void AskBundle(const String& path);
    void AskCompatible();
    void AskSlots();
    void AskLogind();
    void Finish();

    RaucClient rauc;
    Logind logind;
    const bool asksLogind;
    std::unique_ptr<Inquiry> inquiry;
};

} // namespace Zel::Host::Service
