#include "Cli/InterruptSignals.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

namespace Zel::Host::Cli
{

namespace
{

sigset_t GetWatchedSignals()
{
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

} // namespace

Interrupted::Interrupted(int signalNumber) : Exception("interrupted by a signal"), signalNumber(signalNumber)
{
}

InterruptSignals::InterruptSignals()
{
    const sigset_t signals = GetWatchedSignals();
    descriptor = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
    pthread_sigmask(descriptor >= 0 ? SIG_BLOCK : SIG_SETMASK, descriptor >= 0 ? &signals : nullptr,
                    &earlierMask);
}

InterruptSignals::~InterruptSignals()
{
    pthread_sigmask(SIG_SETMASK, &earlierMask, nullptr);
    if (descriptor >= 0)
    {
        close(descriptor);
    }
}

void InterruptSignals::ThrowIfArrived() const
{
    signalfd_siginfo arrived{};
    if (descriptor >= 0 &&
        read(descriptor, &arrived, sizeof(arrived)) == static_cast<ssize_t>(sizeof(arrived)))
    {
        throw Interrupted(static_cast<int>(arrived.ssi_signo));
    }
}

void InterruptSignals::WaitForInput(int input) const
{
    std::array<pollfd, 2> inputs = {pollfd{input, POLLIN, 0}, pollfd{descriptor, POLLIN, 0}};
    while (inputs[0].revents == 0)
    {
        static_cast<void>(poll(inputs.data(), inputs.size(), -1));
        ThrowIfArrived();
    }
}

void InterruptSignals::EndProcess(int signalNumber)
{
    const sigset_t signals = GetWatchedSignals();
    static_cast<void>(std::signal(signalNumber, SIG_DFL));
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    static_cast<void>(std::raise(signalNumber));
    std::_Exit(128 + signalNumber);
}

} // namespace Zel::Host::Cli
