#include "Support/TmpfsMount.h"

#include "Zel/Exception.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

namespace Zel::Tests::Support
{

namespace
{

void Require(bool succeeded, const String& action)
{
    if (!succeeded)
    {
        const String reason = std::generic_category().message(errno);
        throw Exception("This test needs root or user namespaces, but failed to " + action + ": " + reason);
    }
}

void MapToRoot(const String& kind, unsigned int id)
{
    std::ofstream map("/proc/self/" + kind + "_map");
    map << "0 " << id << " 1";
    Require(static_cast<bool>(map.flush()), "map " + kind);
}

/// Gives the process its own view of the mounts, once.
void LeaveSharedMounts()
{
    static bool left = false;
    if (left)
    {
        return;
    }
    if (::unshare(CLONE_NEWNS) == -1)
    {
        const unsigned int user = ::geteuid();
        const unsigned int group = ::getegid();
        Require(::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0, "leave the shared mounts");
        std::ofstream("/proc/self/setgroups") << "deny";
        MapToRoot("uid", user);
        MapToRoot("gid", group);
    }
    Require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "make the mounts private");
    left = true;
}

} // namespace

TmpfsMount::TmpfsMount(std::size_t bytes)
{
    LeaveSharedMounts();
    const String options = "size=" + std::to_string(bytes);
    Require(::mount("tmpfs", folder.GetPath().c_str(), "tmpfs", 0, options.c_str()) == 0, "mount a tmpfs");
}

TmpfsMount::~TmpfsMount()
{
    static_cast<void>(::umount2(folder.GetPath().c_str(), MNT_DETACH));
}

PinnedFile::PinnedFile(String path) : path(std::move(path))
{
    LeaveSharedMounts();
    Require(::mount(this->path.c_str(), this->path.c_str(), nullptr, MS_BIND, nullptr) == 0, "pin a file");
}

PinnedFile::~PinnedFile()
{
    static_cast<void>(::umount2(path.c_str(), MNT_DETACH));
}

} // namespace Zel::Tests::Support
