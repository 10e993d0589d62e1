#pragma once

#include "Zel/String.h"

#include "Support/TemporaryFolder.h"

#include <cstddef>

namespace Zel::Tests::Support
{

/// A file system of its own in memory, to be filled or renamed across. The mounts are seen by
/// this process only and vanish with it. Needs root, or a kernel that gives user namespaces to everyone;
/// where both are missing every constructor throws `Exception`, so that the test fails and says why.
class TmpfsMount
{
public:
    explicit TmpfsMount(std::size_t bytes);
    ~TmpfsMount();
    TmpfsMount(const TmpfsMount&) = delete;
    TmpfsMount& operator=(const TmpfsMount&) = delete;

    [[nodiscard]] const TemporaryFolder& GetFolder() const noexcept { return folder; }

    [[nodiscard]] String operator/(const String& name) const { return folder / name; }

private:
    TemporaryFolder folder;
};

/// Mounts a file onto itself: it can be read, but neither renamed nor deleted (EBUSY) until the object is
/// destroyed.
class PinnedFile
{
public:
    explicit PinnedFile(String path);
    ~PinnedFile();
    PinnedFile(const PinnedFile&) = delete;
    PinnedFile& operator=(const PinnedFile&) = delete;

private:
    const String path;
};

} // namespace Zel::Tests::Support
