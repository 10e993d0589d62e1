#pragma once

#include "Cli/ComponentState.h"
#include "Cli/Terminal.h"

#include "Zel/String.h"

#include <ostream>

namespace Zel::Host::Cli
{

/// Shows a running installation: one line that is drawn again on a terminal; elsewhere a line for each new
/// message and each further 10 %, and one line for the whole of a countdown.
class ProgressView
{
public:
    /// `out` must live longer. A quiet view shows nothing.
    ProgressView(std::ostream& out, const Terminal& terminal, bool quiet);
    ~ProgressView();
    ProgressView(const ProgressView&) = delete;
    ProgressView& operator=(const ProgressView&) = delete;

    /// Shows a state in which an installation runs or waits; others are ignored.
    void Show(const ComponentState& state);

    /// Ends the drawn line, so that ordinary lines can follow. The destructor does the same.
    void Finish();

private:
    void Draw(const ComponentState& state);
    void WriteLine(const ComponentState& state);

    std::ostream& out;
    Terminal terminal;
    bool quiet;
    bool lineOpen = false;
    bool waitShown = false;
    String lastMessage;
    int lastTens = -1;
};

} // namespace Zel::Host::Cli
