#pragma once

#include "Support/BusMessage.h"
#include "Zel/String.h"

#include <atomic>
#include <functional>
#include <memory>
#include <thread>

struct DBusConnection;

namespace Zel::Tests::Support
{

/// A program on the bus, for the other end of a test: a private libdbus connection and the thread that serves
/// it, so that nothing of it is shared with what is tested.
class BusPeer
{
public:
    /// Gets each message that arrives, one after the other, on the peer's thread. The message lives for the
    /// call.
    using Handler = std::function<void(const BusMessage& message)>;

    /// Connects, owns `busName` (none when empty) and serves. Throws `Exception` when the bus refuses.
    BusPeer(const String& busAddress, String busName, Handler handler);

    /// Waits for a handler that runs, then breaks the connection; what was not answered gets no answer. The
    /// name is free when it returns. Not on the peer's thread.
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    /// Sends a message; from any thread. Messages of one thread arrive in the order in which they were sent.
    void Send(const BusMessage& message);

private:
    void Wake() const;
    void Serve();
    void WaitForWork(bool isConnected) const;

    const String busName;
    const Handler handler;
    const std::unique_ptr<DBusConnection, void (*)(DBusConnection*)> connection;
    const int wakeUp;
    std::atomic<bool> isEnding = false;
    std::thread thread;
};

} // namespace Zel::Tests::Support
