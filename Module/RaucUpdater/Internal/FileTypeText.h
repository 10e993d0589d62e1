#pragma once

#include "Zel/Services/SoftwareUpdate/SoftwareVersionFileType.h"
#include "Zel/String.h"

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
{

/// Returns the type's name, or its number for a value without a name: what the module writes about a type
/// must not fail, because it also writes that it does not know the type.
[[nodiscard]] String FileTypeText(Services::SoftwareUpdate::SoftwareVersionFileType type);

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal
