#pragma once

#include "Bus/RaucUpdater/Journey.h"
#include "Support/DeviceFolder.h"

#include <future>

namespace Zel::Tests
{

/// A device in a folder with the real RAUC, for a component of the article "Controller".
class RealDevice : public JourneyDevice
{
public:
    RealDevice();

    [[nodiscard]] String MakeBundle(const String& version, const Lines& options) override;
    String Run(const String& command, const Lines& arguments) override;

private:
    Support::DeviceFolder device{{"--compatible", "Controller"}};
    const Support::TemporaryFolder bundles;
    /// An installation that nobody has told the module of.
    std::future<String> foreign;
};

} // namespace Zel::Tests
