#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace Zel::Host::Service
{

class Delivery;

/// A delivered file: removed with this object, unless it was moved away. Its delivery outlives it.
class DeliveredFile
{
public:
    DeliveredFile(const Delivery& delivery, String path);
    ~DeliveredFile();
    DeliveredFile(const DeliveredFile&) = delete;
    DeliveredFile& operator=(const DeliveredFile&) = delete;

    /// Removes it before that.
    void Remove() const noexcept;

    [[nodiscard]] const String& GetPath() const noexcept { return path; }

private:
    const Delivery& delivery;
    const String path;
};

/// Turns a descriptor that a client handed over into a file of the service's own, which nobody can change any
/// more, or refuses it clearly. Thread-safe.
class Delivery : private System::Commons::Diagnostics::Logging::Loggable<Delivery>
{
public:
    using FileDescriptor = System::Commons::Io::FileDescriptor;

    /// Uses `folder`, creates it with mode 0700 and removes the deliveries that an earlier run left in it.
    /// Throws `IoException`.
    explicit Delivery(const String& folder);

    /// Copies the whole file, whatever the descriptor's position, to a new one of mode 0640 and syncs it.
    /// Throws, with a text for the client and without leaving anything behind,
    /// `ArgumentException` for what is not a regular file, not open for reading, empty, or changed meanwhile;
    /// `OutOfMemoryException`, with both numbers, where there is no room; `IoException` for other failures.
    /// `progress` is called from time to time meanwhile.
    [[nodiscard]] std::unique_ptr<DeliveredFile> Take(const FileDescriptor& source,
                                                      const std::function<void()>& progress);

private:
    friend class DeliveredFile;

    /// Removes a file if it is still there; a failure is logged at error level.
    void Discard(const String& path) const noexcept;
    void CheckRoom(std::uint64_t size) const;
    void CopyTo(const FileDescriptor& source, const String& target, std::uint64_t size,
                const std::function<void()>& progress) const;

    const String folder;
    std::atomic<std::uint32_t> lastNumber = 0;
};

} // namespace Zel::Host::Service
