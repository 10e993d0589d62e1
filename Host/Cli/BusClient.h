#pragma once

#include "Cli/ClientConnection.h"
#include "Cli/ComponentState.h"
#include "Cli/ServiceAnswers.h"

#include "Zel/String.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace Zel::Host::Cli
{

/// The service's D-Bus interface as calls and values, for one component at a time. Answers and signals count
/// only when they come from the connection that owned the service's name at the first call, or at the first
/// one after `WaitForService`. Every operation throws `BusError` when the service refuses, answers in an
/// unknown form or goes away, and `Interrupted` when a signal arrives while it waits. For one thread.
class BusClient
{
public:
    using Clock = ClientConnection::Clock;
    using ChangeHandler = std::function<void(const ComponentState& state)>;

    /// Connects to the bus. The first call starts the service where the bus knows how. With `interactive` the
    /// service may have the operator asked for a password.
    BusClient(const InterruptSignals& interrupts, bool interactive);
    ~BusClient();
    BusClient(const BusClient&) = delete;
    BusClient& operator=(const BusClient&) = delete;

    /// Whatever reads throws `BusError` (timeout) when it has no answer at `limit`, or after 25 s if that is
    /// earlier.
    void SetReadLimit(Clock::time_point limit);

    [[nodiscard]] ServiceDescription ReadService();

    /// After an operation has thrown since the service was absent: waits until it is there again. Returns
    /// false when `deadline` passed before. The service is to be read and the component to be selected anew.
    [[nodiscard]] bool WaitForService(Clock::time_point deadline);

    /// Makes a component the one that all further operations are about, asks for its changes and reads it.
    /// `id` is one that `ReadService` returned.
    void Select(const String& id);

    /// The selected component: as read, with every change since.
    [[nodiscard]] const ComponentState& GetState() const noexcept { return state; }

    /// Reads the component anew.
    void Refresh();

    /// `handler` is called with the new state after every change that arrives, or is read, during an
    /// operation; an empty one is called no more.
    void SetChangeHandler(ChangeHandler handler);

    /// Gives the service a readable descriptor of a bundle; it stays the caller's. Returns the bundle's
    /// version.
    [[nodiscard]] String Stage(int descriptor);

    /// Starts the installation of a version, empty for the pending one, or of the fallback one, after
    /// `delay`. Returns when it was accepted.
    void Install(const String& version, bool fallback, std::chrono::milliseconds delay);

    /// Asks for an installation whose delay the service takes in no state: throws what the caller's rights
    /// and the component's state have against any installation now, and returns where they have nothing.
    void TryInstall();

    /// Calls a waiting installation off.
    void Cancel();

    void Revert();
    void Resume();

    /// Has the service look at a bundle; the descriptor stays the caller's.
    [[nodiscard]] BundleInspection Inspect(int descriptor);

    /// Returns the last installations and reverts, the newest first, at most `limit`.
    [[nodiscard]] std::vector<PastInstallation> ReadHistory(std::uint32_t limit);

    /// Waits until something arrived. Returns false when `deadline` passed before.
    [[nodiscard]] bool WaitForMessage(Clock::time_point deadline);

private:
    [[nodiscard]] Clock::time_point GetReadDeadline() const;
    [[nodiscard]] BusMessage NewComponentCall(const String& member);
    [[nodiscard]] BusMessage CallGetAll(const String& path, const String& interface);
    [[nodiscard]] BusMessage CallWithBundle(const String& member, int descriptor);
    void CallPlain(const String& member);
    void SubscribeToOwner();
    void OnSignal(sd_bus_message& signal);
    void OnPropertiesChanged(sd_bus_message& signal);
    void NotifyChange() const;
    void OnNameOwnerChanged(sd_bus_message& signal);

    ClientConnection connection;
    const bool interactive;
    Clock::time_point readLimit = ClientConnection::Forever;
    /// The service's unique connection name; empty before the first call.
    String owner;
    bool ownerWatched = false;
    /// The service's name has an owner again.
    bool appeared = false;
    String componentPath;
    ComponentState state;
    ChangeHandler changeHandler;
    /// A change came without its value.
    bool stale = false;
};

} // namespace Zel::Host::Cli
