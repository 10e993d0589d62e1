#pragma once

#include "Zel/Exception.h"

namespace Zel::System::Commons
{

/// A file operation failed.
class ZEL_API IoException : public Exception
{
public:
    /// `action` completes "Failed to ...", for example "delete"; the message becomes
    /// "Failed to {action} '{path}': {text of errorNumber}".
    IoException(const String& action, String path, int errorNumber);
    ~IoException() override;
    IoException(const IoException&) = default;
    IoException(IoException&&) = default;
    IoException& operator=(const IoException&) = default;
    IoException& operator=(IoException&&) = default;

    [[nodiscard]] const String& GetPath() const noexcept;

    /// The value of errno, for example ENOENT.
    [[nodiscard]] int GetErrorNumber() const noexcept;

private:
    String path;
    int errorNumber;
};

} // namespace Zel::System::Commons
