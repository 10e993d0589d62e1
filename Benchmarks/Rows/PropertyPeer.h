#pragma once

#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"

namespace Zel::Benchmarks
{

/// RAUC's place on the private bus: answers every "Get" at once with a text, and as often as it is told to
/// sends a changed property as well.
class PropertyPeer
{
public:
    inline static const String PropertyText = "Controller";

    /// Sends a signal with every `callsPerSignal`-th answer; none for 0.
    explicit PropertyPeer(const Tests::Support::PrivateBus& bus, unsigned int callsPerSignal = 0);

private:
    void Answer(const Tests::Support::BusMessage& message);

    const unsigned int callsPerSignal;
    unsigned int calls = 0;
    Tests::Support::BusPeer peer;
};

} // namespace Zel::Benchmarks
