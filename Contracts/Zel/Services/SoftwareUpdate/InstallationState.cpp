#include "Zel/Services/SoftwareUpdate/InstallationState.h"

#include "Zel/EnumText.h"

namespace Zel::Services::SoftwareUpdate
{

const char* ToString(InstallationState state)
{
    switch (state)
    {
    case InstallationState::Idle:
        return "Idle";
    case InstallationState::Installing:
        return "Installing";
    case InstallationState::Failed:
        return "Failed";
    }
    ThrowInvalidEnumValue(state);
}

std::ostream& operator<<(std::ostream& stream, InstallationState state)
{
    return stream << ToString(state);
}

} // namespace Zel::Services::SoftwareUpdate
