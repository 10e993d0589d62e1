#pragma once

#include <cstddef>

namespace Zel::Host::Cli
{

/// What the program's terminal can do, where it has one.
struct Terminal
{
    /// A terminal on which a line can be drawn again.
    bool interactive = false;
    /// The operator can be asked: standard input and standard error are terminals.
    bool canAsk = false;
    /// Colours are possible and wanted.
    bool colour = false;
    /// Columns; meaningful on an interactive one.
    std::size_t width = 80;

    /// Looks at the standard streams and at the environment: without `TERM`, or with TERM=dumb, it is not
    /// interactive, and a `NO_COLOR` that is not empty means no colours.
    [[nodiscard]] static Terminal Detect();

    /// Reads the width again; the window may have another size by now.
    void RefreshWidth();
};

} // namespace Zel::Host::Cli
