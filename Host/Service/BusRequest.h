#pragma once

#include "Service/Authorizer.h"
#include "Service/ModuleCalls.h"
#include "Service/RequestResult.h"

#include "Zel/Exception.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

#include <cstdint>
#include <functional>
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

    [[nodiscard]] const char* GetName() const noexcept { return name; }

private:
    const char* name;
};

/// A client's method call: who calls, its arguments, and its one answer, which may be given later. Copies are
/// the same call.
class BusRequest : private System::Commons::Diagnostics::Logging::Loggable<BusRequest>
{
public:
    /// Appends the values of an answer, and returns a negated errno on failure.
    using Write = std::function<int(sd_bus_message* answer)>;

    /// Finds out who calls. Throws `BusRequestException` where that fails.
    explicit BusRequest(sd_bus_message* message);

    [[nodiscard]] const Authorizer::Caller& GetSender() const noexcept { return sender; }

    /// The method's name.
    [[nodiscard]] String GetMember() const;

    /// Says who calls, for people.
    [[nodiscard]] const String& GetCaller() const noexcept { return caller; }

    /// Arguments are read in their order; what does not fit throws `BusRequestException`.
    [[nodiscard]] System::Commons::Io::FileDescriptor ReadDescriptor() const;
    [[nodiscard]] String ReadText() const;
    [[nodiscard]] std::uint32_t ReadNumber() const;
    /// Reads the options of a method that knows none.
    void ReadNoOptions() const;
    /// Reads "fallback" (b) and "delay" (t, milliseconds) into `request`.
    void ReadInstallOptions(InstallRequest& request) const;

    /// Answers the call with the result's error, or with what `write` writes, if anything. A client that has
    /// gone is not missed.
    void Answer(const RequestResult& result, const Write& write = {}) const;
    /// Answers the call with a D-Bus error.
    void Refuse(const String& errorName, const String& reason) const;

private:
    void ReadOptions(InstallRequest* request) const;

    std::shared_ptr<sd_bus_message> message;
    Authorizer::Caller sender;
    String caller;
};

} // namespace Zel::Host::Service
