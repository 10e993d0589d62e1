#pragma once

#include "Cli/ComponentState.h"
#include "Cli/Report.h"

#include "Zel/String.h"

#include <vector>

namespace Zel::Host::Cli
{

/// What reports show, each fact in words and under its stable name.
class Facts
{
public:
    /// Returns the text, or no value for an empty one.
    [[nodiscard]] static FactValue TextOrNone(const String& text);

    /// Returns a fact of one text.
    [[nodiscard]] static Fact Text(const String& label, const String& pointer, const String& text);

    /// Returns a fact that is true or not.
    [[nodiscard]] static Fact YesOrNo(const String& label, const String& pointer, bool value);

    /// Returns the component and its versions.
    [[nodiscard]] static std::vector<Fact> OfVersions(const ComponentState& state);

    /// Returns all there is about the component.
    [[nodiscard]] static std::vector<Fact> OfComponent(const ComponentState& state);
};

} // namespace Zel::Host::Cli
