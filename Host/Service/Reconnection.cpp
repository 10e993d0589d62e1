#include "Service/Reconnection.h"

#include "Zel/Exception.h"

#include <algorithm>
#include <utility>

namespace Zel::Host::Service
{

namespace
{

constexpr std::chrono::milliseconds FirstDelay{250};
constexpr std::chrono::milliseconds LastDelay{2000};

} // namespace

Reconnection::Reconnection(EventLoop& loop, Handlers handlers)
    : handlers(std::move(handlers)), timer(loop, [this] { Try(); })
{
}

void Reconnection::Begin()
{
    deadline = std::chrono::steady_clock::now() + Patience;
    delay = FirstDelay;
    timer.Arm(delay);
}

void Reconnection::Stop()
{
    timer.Disarm();
}

void Reconnection::Try()
{
    try
    {
        handlers.connect();
    }
    catch (const Exception& exception)
    {
        if (std::chrono::steady_clock::now() >= deadline)
        {
            handlers.gaveUp(exception.GetMessage());
            return;
        }
        delay = std::min(delay * 2, LastDelay);
        timer.Arm(delay);
        return;
    }
    handlers.connected();
}

} // namespace Zel::Host::Service
