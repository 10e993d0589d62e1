#include "Cli/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace Zel::Host::Cli
{

namespace
{

/// Returns the variable's value; "" when it is not set.
std::string_view GetVariable(const char* name)
{
    const char* const value = secure_getenv(name);
    return value != nullptr ? value : "";
}

} // namespace

Terminal Terminal::Detect()
{
    const std::string_view kind = GetVariable("TERM");
    Terminal terminal;
    terminal.interactive = isatty(STDOUT_FILENO) == 1 && !kind.empty() && kind != "dumb";
    terminal.canAsk = isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
    terminal.colour = terminal.interactive && GetVariable("NO_COLOR").empty();
    terminal.RefreshWidth();
    return terminal;
}

void Terminal::RefreshWidth()
{
    winsize size{};
    if (interactive && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0)
    {
        width = size.ws_col;
    }
}

} // namespace Zel::Host::Cli
