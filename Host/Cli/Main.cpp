#include "Cli/Application.h"

#include <fcntl.h>
#include <unistd.h>

#include <iostream>

namespace
{

/// Fills the closed ones of the three standard streams, so that nothing else that is opened takes their
/// place. Each is open the wrong way round: its use fails as before.
void ReserveStandardStreams()
{
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream)
    {
        if (fcntl(stream, F_GETFD) < 0)
        {
            // The lowest free number is this one.
            static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    ReserveStandardStreams();
    const std::vector<Zel::String> arguments(argv + 1, argv + argc);
    return Zel::Host::Cli::Application::Run(arguments, std::cout, std::cerr,
                                            Zel::Host::Cli::Terminal::Detect());
}
