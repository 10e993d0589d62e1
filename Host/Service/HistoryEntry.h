#pragma once

#include "Zel/String.h"

#include <cstdint>
#include <vector>

namespace Zel::Host::Service
{

/// One installation or revert, from its beginning to its end. Times are microseconds since 1970 in UTC.
struct HistoryEntry
{
    struct Step
    {
        std::int64_t time = 0;
        String text;
    };

    /// One of `Api::Kind`.
    String kind;
    /// Who asked for it, for people.
    String caller;
    /// Versions.
    String from;
    String to;
    /// The slot that it started from; of a revert the one that it goes back to. Empty while it is running.
    String slot;
    std::int64_t begun = 0;
    /// 0 while it is running.
    std::int64_t ended = 0;
    std::vector<Step> steps;
    /// One of `Api::Result`; empty while it is running.
    String result;
    /// Why it did not succeed.
    String reason;
};

/// How the last installation or revert ended that was not called off.
struct Verdict
{
    /// One of `Api::Result`; empty without a verdict.
    String result;
    String version;
    /// Why it did not succeed.
    String reason;
    /// Microseconds since 1970 in UTC; 0 without a verdict.
    std::int64_t time = 0;

    friend bool operator==(const Verdict&, const Verdict&) = default;
};

} // namespace Zel::Host::Service
