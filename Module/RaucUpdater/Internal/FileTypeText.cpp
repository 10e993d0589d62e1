#include "RaucUpdater/Internal/FileTypeText.h"

#include "Zel/Exception.h"

#include <cstdint>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

String FileTypeText(Services::SoftwareUpdate::SoftwareVersionFileType type)
{
    try
    {
        return Services::SoftwareUpdate::ToString(type);
    }
    catch (const Exception&)
    {
        return std::to_string(static_cast<std::int32_t>(type));
    }
}

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
