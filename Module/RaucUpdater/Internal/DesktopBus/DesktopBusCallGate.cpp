#include "RaucUpdater/Internal/DesktopBus/DesktopBusCallGate.h"

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

struct DesktopBusCallGate::State
{
    std::mutex mutex;
    std::condition_variable changed;
    /// Who is inside, and with how many passes.
    std::thread::id insider;
    unsigned int passes = 0;
    /// Tickets of those who wait, the next one first.
    std::deque<std::uint64_t> waiting;
    std::uint64_t nextTicket = 0;

    [[nodiscard]] bool IsInside() const { return passes > 0 && insider == std::this_thread::get_id(); }

    [[nodiscard]] std::uint64_t Queue()
    {
        waiting.push_back(nextTicket);
        return nextTicket++;
    }

    [[nodiscard]] bool IsTurnOf(std::uint64_t ticket) const
    {
        return passes == 0 && waiting.front() == ticket;
    }

    void LetIn()
    {
        waiting.pop_front();
        insider = std::this_thread::get_id();
        passes = 1;
    }
};

DesktopBusCallGate::Pass::Pass(std::shared_ptr<State> state) noexcept : state(std::move(state)) {}

DesktopBusCallGate::Pass::~Pass()
{
    Release();
}

DesktopBusCallGate::Pass& DesktopBusCallGate::Pass::operator=(Pass&& other) noexcept
{
    if (this != &other)
    {
        Release();
        state = std::move(other.state);
    }
    return *this;
}

void DesktopBusCallGate::Pass::Release() noexcept
{
    if (const auto released = std::exchange(state, nullptr))
    {
        const std::lock_guard lock(released->mutex);
        --released->passes;
        released->changed.notify_all();
    }
}

DesktopBusCallGate::DesktopBusCallGate() : state(std::make_shared<State>()) {}

DesktopBusCallGate::Pass DesktopBusCallGate::Enter() const
{
    std::unique_lock lock(state->mutex);
    if (state->IsInside())
    {
        ++state->passes;
        return Pass(state);
    }
    const auto ticket = state->Queue();
    state->changed.wait(lock, [&] { return state->IsTurnOf(ticket); });
    state->LetIn();
    return Pass(state);
}

DesktopBusCallGate::Pass DesktopBusCallGate::TryEnter(std::chrono::milliseconds limit) const
{
    std::unique_lock lock(state->mutex);
    if (state->IsInside())
    {
        return Pass();
    }
    const auto ticket = state->Queue();
    if (state->changed.wait_for(lock, limit, [&] { return state->IsTurnOf(ticket); }))
    {
        state->LetIn();
        return Pass(state);
    }
    std::erase(state->waiting, ticket);
    // Whoever stood behind may be next now.
    state->changed.notify_all();
    return Pass();
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
