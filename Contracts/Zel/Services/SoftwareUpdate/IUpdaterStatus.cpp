#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"

namespace Zel::Services::SoftwareUpdate
{

IUpdaterStatus::~IUpdaterStatus() = default;

} // namespace Zel::Services::SoftwareUpdate
