#pragma once

#include "Service/BundleInspector.h"
#include "Service/Delivery.h"
#include "Service/EventLoop.h"
#include "Service/PersistentUpdaterStatus.h"
#include "Service/RaucAnswer.h"
#include "Service/RequestResult.h"

#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

#include <functional>
#include <memory>

namespace Zel::Host::Service
{

/// What a component needs of the service; all of it outlives the component.
struct ComponentEnvironment
{
    EventLoop& loop;
    Delivery& delivery;
    std::shared_ptr<PersistentUpdaterStatus> status;
    /// May throw, like `IUpdaterModule::Initialize`.
    std::function<std::unique_ptr<Services::SoftwareUpdate::IUpdaterModule>()> createModule;
    /// The module's settings document.
    String settingsPath;
    RaucProbe probe;
    /// Adds what others say to what is known of the bundle at a path; on the loop's thread, returns at once.
    std::function<void(const String& path, InspectionFacts facts, BundleInspector::Handler handler)> inspect;
    /// Orders a restart of the device.
    EventLoop::Task restartDevice;
    /// Told each time a start has ended, with the reason of a failure.
    Completion started;
    /// Told, each time it is found, why a start has to wait.
    std::function<void(const String& reason)> startDelayed;
    /// Told, in words, about an installation or revert that was ended without its module.
    std::function<void(const String& text)> interrupted;
    /// Told, in words, about one that has failed otherwise; not where a module decided that when it was
    /// initialized after a restart of the device, because then it notifies itself.
    std::function<void(const String& text)> failed;
    /// Told when nothing is being installed and RAUC rests.
    EventLoop::Task rested;
};

} // namespace Zel::Host::Service
