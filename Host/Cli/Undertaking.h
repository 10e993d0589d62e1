#pragma once

#include "Api/SoftwareUpdate1.h"

#include "Zel/String.h"

namespace Zel::Host::Cli
{

/// What a component is asked to do to itself, as the history names it, in words for people.
struct Undertaking
{
    /// One of `Api::Kind`; empty where it is not known.
    String kind;
    /// The version to be installed or gone back to; empty where it is not known.
    String version;

    [[nodiscard]] bool IsRevert() const { return kind == Api::Kind::Revert; }

    /// Returns "installation" or "revert".
    [[nodiscard]] String GetName() const;

    /// Returns the version, for example "version 1.1.0.0" or "the pending version".
    [[nodiscard]] String DescribeVersion() const;

    /// Returns the whole, for example "the installation of version 1.1.0.0".
    [[nodiscard]] String Describe() const;
};

} // namespace Zel::Host::Cli
