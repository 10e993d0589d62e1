#pragma once

#include "Zel/Exception.h"

#include <csignal>

namespace Zel::Host::Cli
{

/// The operator, or the system that shuts down, wants the program to end.
class Interrupted : public Exception
{
public:
    explicit Interrupted(int signalNumber);

    [[nodiscard]] int GetSignalNumber() const noexcept { return signalNumber; }

private:
    int signalNumber;
};

/// While it lives, SIGINT and SIGTERM do not end the process but make a descriptor readable, so that a
/// command can first say what goes on without it. To be created before any other thread of the process.
class InterruptSignals
{
public:
    InterruptSignals();
    ~InterruptSignals();
    InterruptSignals(const InterruptSignals&) = delete;
    InterruptSignals& operator=(const InterruptSignals&) = delete;

    /// The descriptor that becomes readable (`POLLIN`); -1 where the system has none left, then signals end
    /// the process as usual.
    [[nodiscard]] int GetDescriptor() const noexcept { return descriptor; }

    /// Throws `Interrupted` when a signal has arrived.
    void ThrowIfArrived() const;

    /// Waits until `input` can be read, or has ended. Throws `Interrupted` when a signal arrives.
    void WaitForInput(int input) const;

    /// Ends the process by the signal itself, so that a calling shell knows and stops too.
    [[noreturn]] static void EndProcess(int signalNumber);

private:
    sigset_t earlierMask{};
    int descriptor = -1;
};

} // namespace Zel::Host::Cli
