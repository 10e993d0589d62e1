#pragma once

#include "Service/ModuleCalls.h"
#include "Service/RequestResult.h"

#include "Zel/Exception.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

#include <memory>

struct sd_bus_message;

namespace Zel::Host::Service
{

/// A call that cannot be carried out; becomes a D-Bus error.
class BusRequestException : public Exception
{
public:
    /// `name` is the D-Bus error's name.
    BusRequestException(const char* name, String message);
    ~BusRequestException() override;
    BusRequestException(const BusRequestException&) = default;
    BusRequestException(BusRequestException&&) = default;
    BusRequestException& operator=(const BusRequestException&) = default;
    BusRequestException& operator=(BusRequestException&&) = default;

    [[nodiscard]] const char* GetName() const noexcept { return name; }

private:
    const char* name;
};

/// A client's method call: who calls, its arguments, and its one answer, which may be given later.
class BusRequest : private System::Commons::Diagnostics::Logging::Loggable<BusRequest>
{
public:
    /// Finds out who calls. Throws `BusRequestException` for somebody who may not change anything.
    explicit BusRequest(sd_bus_message* message);

    /// Says who calls, for people.
    [[nodiscard]] const String& GetCaller() const noexcept { return caller; }

    /// Arguments are read in their order; what does not fit throws `BusRequestException`.
    [[nodiscard]] System::Commons::Io::FileDescriptor ReadDescriptor() const;
    [[nodiscard]] String ReadText() const;
    /// Reads the options of a method that knows none.
    void ReadNoOptions() const;
    /// Reads "fallback" (b) and "delay" (t, milliseconds) into `request`.
    void ReadInstallOptions(InstallRequest& request) const;

    /// Returns what answers the call, with the result's text as the one value if `withText` is set. A client
    /// that has gone is not missed.
    [[nodiscard]] Completion Reply(bool withText) const;

private:
    void ReadOptions(InstallRequest* request) const;

    std::shared_ptr<sd_bus_message> message;
    String caller;
};

} // namespace Zel::Host::Service
