#pragma once

#include "Support/BusPeer.h"

#include <mutex>

namespace Zel::Benchmarks
{

/// RAUC's place on the process's bus: answers every "Get" at once with a text, and as often as it is told to
/// sends a changed property as well.
class PropertyPeer
{
public:
    inline static const String PropertyText = "Controller";

    /// Sends a signal with every `callsPerSignal`-th answer; none for 0.
    explicit PropertyPeer(unsigned int callsPerSignal = 0);

private:
    void Answer(sd_bus_message* message);

    const unsigned int callsPerSignal;
    unsigned int calls = 0;
    std::recursive_mutex lock;
    Tests::Support::BusPeer peer;
};

} // namespace Zel::Benchmarks
