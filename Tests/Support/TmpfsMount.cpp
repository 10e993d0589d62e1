#include "Support/TmpfsMount.h"

#include "Zel/Exception.h"

#include <cerrno>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <system_error>
#include <unistd.h>

namespace Zel::Tests::Support
{

namespace
{

void Require(int result, const String& action)
{
    if (result != 0)
    {
        const String reason = std::generic_category().message(errno);
        throw Exception("This test needs root or user namespaces, but failed to " + action + ": " + reason);
    }
}

/// Gives the process its own view of the mounts, once.
void LeaveSharedMounts()
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
    Require(left ? 0 : ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "make mounts private");
    left = true;
}

} // namespace

Mount::Mount(const String& source, String target, const char* type, const String& options)
    : target(std::move(target))
{
    LeaveSharedMounts();
    const unsigned long flags = type == nullptr ? MS_BIND : 0;
    Require(::mount(source.c_str(), this->target.c_str(), type, flags, options.c_str()), "mount " + source);
}

Mount::~Mount()
{
    static_cast<void>(::umount2(target.c_str(), MNT_DETACH));
}

} // namespace Zel::Tests::Support
