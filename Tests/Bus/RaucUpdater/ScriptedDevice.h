#pragma once

#include "Bus/RaucUpdater/Journey.h"
#include "Support/ScriptedRauc.h"

#include <functional>
#include <map>

namespace Zel::Tests
{

/// A device with the scripted RAUC. Commands and bundle options that it has not are refused by an exception.
class ScriptedDevice : public JourneyDevice
{
public:
    /// The slots of the scripted RAUC, or those of a device that RAUC never wrote.
    explicit ScriptedDevice(bool isNew = false);

    [[nodiscard]] String MakeBundle(const String& version, const Lines& options) override;
    String Run(const String& command, const Lines& arguments) override;

    Support::ScriptedRauc rauc{Support::PrivateBus::OfProcess()};

private:
    /// Installs for a client that is not the module, until "rest".
    void InstallForeign();
    [[nodiscard]] String GetImageVersion();

    const Support::TemporaryFolder bundles;
    /// In the slot that RAUC never wrote.
    const String factoryVersion;
    bool nextBootFails = false;
};

/// \name Steps on the scripted RAUC
///@{
Step Answer(const String& member, const Support::ScriptedAnswer& answer);
/// The next installation stops after that many steps.
Step Hold(std::size_t steps);
Step Rauc(const std::function<void(Support::ScriptedRauc&)>& action);
///@}

} // namespace Zel::Tests
