#include "Service/BusSession.h"

#include <utility>

namespace Zel::Host::Service
{

BusSession::BusSession(EventLoop& loop, bool asksLogind, Handlers handlers)
    : connection(loop, std::move(handlers.lost)), raucWatch(connection, std::move(handlers.raucOwnerChanged)),
      logind(connection), inspector(connection, asksLogind),
      slotAlarm(connection, std::move(handlers.slotActivated))
{
}

} // namespace Zel::Host::Service
