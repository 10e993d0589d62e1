#include "Cli/BundleFile.h"

#include "Cli/CommandError.h"
#include "Zel/System/Commons/IoException.h"
#include "Zel/System/Core/Format.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

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

} // namespace

FileDescriptor OpenBundle(const String& path)
{
    try
    {
        FileDescriptor bundle = FileDescriptor::Open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
        if (!S_ISREG(bundle.GetStatus().st_mode))
        {
            throw CommandError(ExitCode::BundleRejected, Format("'{0}' is not a regular file", path),
                               "Name a bundle file.");
        }
        return bundle;
    }
    catch (const IoException& error)
    {
        throw ToCommandError(error);
    }
}

} // namespace Zel::Host::Cli
