#include "Cli/BundleFile.h"

#include "Cli/CommandError.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Core/Format.h"

#include <fcntl.h>
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

/// Makes a file that has no name (any more). Not every file system knows files that never had one.
FileDescriptor OpenUnlinked(const String& folder)
{
    try
    {
        return FileDescriptor::Open(folder, O_TMPFILE | O_RDWR, S_IRUSR | S_IWUSR);
    }
    catch (const IoException&)
    {
        String path = folder + "/zelupdate-XXXXXX";
        const int descriptor = mkostemp(path.data(), O_CLOEXEC);
        if (descriptor < 0)
        {
            throw IoException("create a file in", folder, errno);
        }
        FileDescriptor named = FileDescriptor::Adopt(descriptor, folder);
        if (unlink(path.c_str()) != 0)
        {
            throw IoException("remove a file from", folder, errno);
        }
        return named;
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

/// Says what to do about a folder that does not take the bundle.
CommandError ToSpoolError(const IoException& error)
{
    constexpr const char* Remedy = "Let TMPDIR name a folder with room, or hand over a file.";
    const bool isFull = error.GetErrorNumber() == ENOSPC || error.GetErrorNumber() == EDQUOT;
    return isFull ? CommandError(
                        ExitCode::TryLater,
                        Format("there is no room in {0} for the bundle from standard input", error.GetPath()),
                        Remedy)
                  : CommandError(
                        ExitCode::Failed,
                        Format("the bundle from standard input cannot be kept: {0}", error.GetMessage()),
                        Remedy);
}

FileDescriptor Spool(const String& folder, const InterruptSignals& interrupts)
{
    try
    {
        FileDescriptor spooled = OpenUnlinked(folder);
        CopyToEnd(STDIN_FILENO, spooled, interrupts);
        return spooled;
    }
    catch (const IoException& error)
    {
        if (error.GetPath() != folder)
        {
            throw;
        }
        throw ToSpoolError(error);
    }
}

FileDescriptor SpoolStandardInput(const InterruptSignals& interrupts)
{
    if (isatty(STDIN_FILENO) == 1)
    {
        throw CommandError(ExitCode::Usage, "standard input is a terminal: send the bundle into it");
    }
    const FileDescriptor spooled = Spool(GetTemporaryFolder(), interrupts);
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
