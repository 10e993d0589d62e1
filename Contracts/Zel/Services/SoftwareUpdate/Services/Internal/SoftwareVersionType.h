#pragma once

#include "Zel/DateTime.h"
#include "Zel/System/Commons/FixedText.h"

#include <vector>

namespace Zel::Services::SoftwareUpdate::Services::Internal
{

/// One software version. Copying a text of 512 characters or more into a field throws `ArgumentException`
/// ("arg", "Input string is too long").
struct SoftwareVersionType
{
    using Text = System::Commons::FixedText<512>;

    Text softwareManufacturer;
    Text softwareManufacturerUri;
    /// For example "2.0.0.0".
    Text softwareRevision;
    std::vector<Text> patchIdentifiers;
    DateTime releaseDate;
    Text changeLogReference;
};

} // namespace Zel::Services::SoftwareUpdate::Services::Internal
