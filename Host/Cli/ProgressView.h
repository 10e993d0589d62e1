#pragma once

#include "Cli/ComponentState.h"
#include "Cli/InstallationClock.h"
#include "Cli/Terminal.h"

#include "Zel/String.h"

#include <chrono>
#include <ostream>

namespace Zel::Host::Cli
{

/// Shows a running installation: one line that is drawn again on a terminal; elsewhere a line for each new
/// message and each further 10 %, and one line for the whole of a countdown. The percentage never falls.
/// Elapsed and remaining time follow it, or stand behind the message of a line.
class ProgressView
{
public:
    /// `out` must live longer. A quiet view shows nothing. The clock is started by the first state that does
    /// not wait, where it was not before.
    ProgressView(std::ostream& out, const Terminal& terminal, bool quiet, InstallationClock clock = {});
    ~ProgressView();
    ProgressView(const ProgressView&) = delete;
    ProgressView& operator=(const ProgressView&) = delete;

    /// How often a drawn line has to be drawn again, for the time in it.
    static constexpr std::chrono::seconds Tick{1};

    /// Shows a state in which an installation runs or waits; others are ignored. To be called again with the
    /// same one after `Tick`.
    void Show(const ComponentState& state);

    /// Ends the drawn line, so that ordinary lines can follow. The destructor does the same.
    void Finish();

private:
    void Draw(const ComponentState& state);
    void WriteLine(const ComponentState& state);
    [[nodiscard]] String DescribeTime() const;
    void Advance(const ComponentState& state);

    std::ostream& out;
    Terminal terminal;
    bool quiet;
    InstallationClock clock;
    bool lineOpen = false;
    bool waitShown = false;
    String lastMessage;
    int lastTens = 0;
    /// What is shown; it never falls.
    int percent = 0;
};

} // namespace Zel::Host::Cli
