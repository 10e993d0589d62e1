#pragma once

#include "Service/RaucAnswer.h"
#include "Service/RaucClient.h"

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <vector>

namespace Zel::Host::Service
{

/// Watches RAUC's bus name, and tells whether RAUC would answer a question now. Used on the loop's thread.
class RaucWatch : private System::Commons::Diagnostics::Logging::Loggable<RaucWatch>
{
public:
    /// `ownerChanged` is called each time the name gets an owner, or loses it. The connection outlives the
    /// watch.
    RaucWatch(BusConnection& connection, BusConnection::OwnerHandler ownerChanged);
    /// Whoever waits for an answer gets `Absent`.
    ~RaucWatch();
    RaucWatch(const RaucWatch&) = delete;
    RaucWatch& operator=(const RaucWatch&) = delete;

    /// Asks RAUC a harmless question, which starts it where the bus can do that. Those who ask while an
    /// answer is awaited share it.
    void Probe(RaucAnswerHandler handler);

    /// Says what an answer means. A refusal proves that RAUC is busy only when it says so, since its property
    /// "Operation" may read "idle" meanwhile; and that it rests, only where it is RAUC's own.
    [[nodiscard]] static RaucState Classify(const BusAnswer& answer);

private:
    void OnPrimary(const BusAnswer& primary);
    void Answer(const RaucAnswer& answer);

    RaucClient client;
    /// The same as long as the device runs.
    String bootSlot;
    std::vector<RaucAnswerHandler> waiting;
};

} // namespace Zel::Host::Service
