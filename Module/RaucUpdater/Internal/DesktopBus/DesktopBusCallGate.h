#pragma once

#include <chrono>
#include <memory>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Keeps the signal listener from taking a reply that a caller waits for: popping a message from libdbus's
/// queue takes whatever stands first. A caller is inside from before it sends until it has its reply, the
/// listener for reading and popping one message, and only one thread is inside at a time. Who waits gets in
/// by order of arrival, so that neither a busy listener shuts the callers out nor they the listener, unless
/// their calls take longer than its limit.
class DesktopBusCallGate
{
    struct State;

public:
    /// The right to be inside; given back on destruction, by any thread. Moved, never copied.
    class Pass
    {
    public:
        /// Holds nothing.
        Pass() noexcept = default;
        ~Pass();
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        Pass(Pass&& other) noexcept = default;
        Pass& operator=(Pass&& other) noexcept;

        [[nodiscard]] bool IsHeld() const noexcept { return state != nullptr; }

        /// Gives it back now; does nothing when it holds nothing.
        void Release() noexcept;

    private:
        friend class DesktopBusCallGate;
        explicit Pass(std::shared_ptr<State> state) noexcept;
        std::shared_ptr<State> state;
    };

    DesktopBusCallGate();

    /// Waits without a limit. The thread that is inside gets another pass at once and is inside until all are
    /// given back.
    [[nodiscard]] Pass Enter() const;

    /// Waits for at most `limit`; the pass holds nothing when that was not enough. The thread that is inside
    /// does not get another pass this way, and is told so at once.
    [[nodiscard]] Pass TryEnter(std::chrono::milliseconds limit) const;

private:
    std::shared_ptr<State> state;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
