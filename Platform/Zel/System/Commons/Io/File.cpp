#include "Zel/System/Commons/Io/File.h"

#include "Zel/System/Commons/Io/FileDescriptor.h"
#include "Zel/System/Commons/Io/FileSystemInfo.h"
#include "Zel/System/Commons/IoException.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace Zel::System::Commons::Io
{

bool File::Exists(const String& path) noexcept
{
    return FileSystemInfo::IsFile(path);
}

void File::Delete(const String& path, bool ignoreMissing)
{
    if (path.find('\0') != String::npos)
    {
        throw IoException("delete", path, EINVAL);
    }
    if (::unlink(path.c_str()) == -1 && !(ignoreMissing && errno == ENOENT))
    {
        throw IoException("delete", path, errno);
    }
}

String File::ReadAllText(const String& path, std::uint64_t maximumSize)
{
    // Without O_NONBLOCK the opening of a named pipe waits for its writer.
    const FileDescriptor file = FileDescriptor::Open(path, O_RDONLY | O_NONBLOCK);
    if (!S_ISREG(file.GetStatus().st_mode))
    {
        throw IoException("read", path, EINVAL);
    }
    // The size it reports says nothing: the kernel's own files have none, others may grow while being read.
    String text;
    std::array<char, std::size_t{16} * 1024> block{};
    while (const std::size_t count = file.Read(block.data(), block.size()))
    {
        if (count > maximumSize - text.size())
        {
            throw IoException("read", path, EFBIG);
        }
        text.append(block.data(), count);
    }
    return text;
}

} // namespace Zel::System::Commons::Io
