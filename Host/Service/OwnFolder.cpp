#include "Service/OwnFolder.h"

#include "Zel/System/Commons/IoException.h"

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

namespace Zel::Host::Service
{

using System::Commons::IoException;

const String& PrepareOwnFolder(const String& folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
    {
        throw IoException("create", folder, error.value());
    }
    if (chmod(folder.c_str(), S_IRWXU) != 0)
    {
        throw IoException("change the mode of", folder, errno);
    }
    return folder;
}

} // namespace Zel::Host::Service
