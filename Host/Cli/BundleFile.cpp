#include "Cli/BundleFile.h"

#include "Cli/CommandError.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Core/Format.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

namespace Zel::Host::Cli
{

using System::Commons::IoException;
using System::Commons::Io::FileDescriptor;
using System::Core::Format;

namespace
{

CommandError ToCommandError(const IoException& error)
{
    const String& path = error.GetPath();
    switch (error.GetErrorNumber())
    {
    case ENOENT:
    case ENOTDIR:
        return {ExitCode::NotFound, Format("there is no file '{0}'", path), "Check the path."};
    case EACCES:
    case EPERM:
        return {ExitCode::NotAllowed, Format("the file '{0}' may not be read by this user", path),
                "Make it readable, or call as a user who may read it."};
    case ELOOP:
        return {ExitCode::BundleRejected, Format("'{0}' is a symbolic link", path),
                "Name the file that it points to."};
    default:
        return {ExitCode::Failed, error.GetMessage()};
    }
}

String GetTemporaryFolder()
{
    const char* const folder = secure_getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/var/tmp";
}

FileDescriptor OpenUnlinked(const String& folder)
{
    try
    {
        return FileDescriptor::Open(folder, O_TMPFILE | O_RDWR, S_IRUSR | S_IWUSR);
    }
    catch (const IoException&)
    {
        const int descriptor = memfd_create("bundle", MFD_CLOEXEC);
        if (descriptor < 0)
        {
            throw;
        }
        return FileDescriptor::Adopt(descriptor, "memory");
    }
}

void CopyToEnd(int input, const FileDescriptor& target, const InterruptSignals& interrupts)
{
    std::vector<char> buffer(std::size_t{256} * 1024);
    while (true)
    {
        interrupts.WaitForInput(input);
        const ssize_t count = read(input, buffer.data(), buffer.size());
        if (count == 0)
        {
            return;
        }
        if (count > 0)
        {
            target.Write(buffer.data(), static_cast<std::size_t>(count));
        }
        else if (errno != EAGAIN && errno != EINTR)
        {
            throw IoException("read", "standard input", errno);
        }
    }
}

FileDescriptor SpoolStandardInput(const InterruptSignals& interrupts)
{
    if (isatty(STDIN_FILENO) == 1)
    {
        throw CommandError(ExitCode::Usage, "standard input is a terminal: send the bundle into it");
    }
    const FileDescriptor spooled = OpenUnlinked(GetTemporaryFolder());
    try
    {
        CopyToEnd(STDIN_FILENO, spooled, interrupts);
    }
    catch (const IoException& error)
    {
        if (error.GetErrorNumber() != ENOSPC && error.GetErrorNumber() != EDQUOT)
        {
            throw;
        }
        throw CommandError(
            ExitCode::TryLater,
            Format("there is no room in {0} for the bundle from standard input", spooled.GetPath()),
            "Let TMPDIR name a folder with room, or hand over a file.");
    }
    // The service gets a descriptor that it can only read from.
    const String path = Format("/proc/self/fd/{0}", spooled.Get());
    const int own = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (own < 0)
    {
        throw IoException("open", path, errno);
    }
    return FileDescriptor::Adopt(own, "standard input");
}

FileDescriptor OpenFile(const String& path)
{
    FileDescriptor bundle = FileDescriptor::Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!S_ISREG(bundle.GetStatus().st_mode))
    {
        throw CommandError(ExitCode::BundleRejected, Format("'{0}' is not a regular file", path),
                           "Name a bundle file.");
    }
    return bundle;
}

} // namespace

FileDescriptor OpenBundle(const String& path, const InterruptSignals& interrupts)
{
    try
    {
        return path == StandardInput ? SpoolStandardInput(interrupts) : OpenFile(path);
    }
    catch (const IoException& error)
    {
        throw ToCommandError(error);
    }
}

} // namespace Zel::Host::Cli
