#pragma once

#include "Support/TemporaryFolder.h"

#include <cerrno>
#include <sched.h>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

namespace Zel::Tests::Support
{

/// A mount that this process alone sees and that vanishes with it. Needs root, or a kernel that gives user
/// namespaces to everyone; where both are missing the constructor throws `Exception`, so that the test fails
/// and says why.
class Mount
{
public:
    Mount(const String& source, const String& target, const char* type, const String& options)
        : target(target)
    {
        LeaveSharedMounts();
        const unsigned long flags = type == nullptr ? MS_BIND : 0;
        Require(::mount(source.c_str(), target.c_str(), type, flags, options.c_str()), "mount " + source);
    }

    ~Mount() { static_cast<void>(::umount2(target.c_str(), MNT_DETACH)); }

    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;

private:
    static void Require(int result, const String& action)
    {
        if (result != 0)
        {
            const String reason = std::generic_category().message(errno);
            throw Exception("This test needs root or user namespaces, but failed to " + action + ": " +
                            reason);
        }
    }

    /// Gives the process its own view of the mounts, once.
    static void LeaveSharedMounts()
    {
        static bool left = false;
        if (!left && ::unshare(CLONE_NEWNS) != 0)
        {
            const unsigned int user = ::geteuid();
            const unsigned int group = ::getegid();
            Require(::unshare(CLONE_NEWUSER | CLONE_NEWNS), "leave the shared mounts");
            std::ofstream("/proc/self/setgroups") << "deny";
            std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
            std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
        }
        Require(left ? 0 : ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr),
                "make mounts private");
        left = true;
    }

    const String target;
};

/// A file system of its own in memory, to be filled or renamed across.
struct TmpfsMount : TemporaryFolder
{
    explicit TmpfsMount(std::size_t bytes)
        : mount("tmpfs", GetPath(), "tmpfs", "size=" + std::to_string(bytes))
    {
    }

private:
    const Mount mount;
};

/// Mounts a file onto itself: it can be read, but neither renamed nor deleted (EBUSY) until the object is
/// destroyed.
struct PinnedFile : Mount
{
    explicit PinnedFile(const String& path) : Mount(path, path, nullptr, "") {}
};

} // namespace Zel::Tests::Support
