#pragma once

#include "Support/TemporaryFolder.h"

namespace Zel::Tests::Support
{

/// A mount that this process alone sees and that vanishes with it. Needs root, or a kernel that gives user
/// namespaces to everyone; where both are missing the constructor throws `Exception`, so that the test fails
/// and says why.
class Mount
{
public:
    Mount(const String& source, String target, const char* type, const String& options);
    ~Mount();
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;

private:
    const String target;
};

/// A file system of its own in memory, to be filled or renamed across.
class TmpfsMount
{
public:
    explicit TmpfsMount(std::size_t bytes)
        : mount("tmpfs", folder.GetPath(), "tmpfs", "size=" + std::to_string(bytes))
    {
    }

    [[nodiscard]] const TemporaryFolder& GetFolder() const noexcept { return folder; }

    [[nodiscard]] String operator/(const String& name) const { return folder / name; }

private:
    const TemporaryFolder folder;
    const Mount mount;
};

/// Mounts a file onto itself: it can be read, but neither renamed nor deleted (EBUSY) until the object is
/// destroyed.
struct PinnedFile : Mount
{
    explicit PinnedFile(const String& path) : Mount(path, path, nullptr, "") {}
};

} // namespace Zel::Tests::Support
