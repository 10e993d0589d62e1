#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <vector>

namespace Zel::Host::Cli
{

/// What the service tells of itself. All texts here are as received.
struct ServiceDescription
{
    String version;
    /// The names of the loaded updater modules.
    std::vector<String> modules;
    /// The IDs of the components.
    std::vector<String> components;
};

/// One reason why an installation now would fail or need care.
struct BundleCheck
{
    String name;
    /// One of `Api::Grade`.
    String result;
    /// What is the case and what to do about it.
    String text;
};

/// What the service finds when it looks at a bundle.
struct BundleInspection
{
    String version;
    String compatible;
    String deviceCompatible;
    /// Whether the bundle is trusted and made for this device.
    bool fits = false;
    /// Bytes.
    std::uint64_t size = 0;
    std::vector<BundleCheck> checks;
};

/// Times are microseconds since 1970 in UTC, 0 where there is none.
struct HistoryStep
{
    std::uint64_t time = 0;
    String what;
};

/// One installation or revert of the past, or the present one, whose result is empty.
struct PastInstallation
{
    /// One of `Api::Kind`.
    String kind;
    String caller;
    String from;
    String to;
    String slot;
    std::uint64_t begun = 0;
    std::uint64_t ended = 0;
    std::vector<HistoryStep> steps;
    /// One of `Api::Result`.
    String result;
    String reason;
};

} // namespace Zel::Host::Cli
