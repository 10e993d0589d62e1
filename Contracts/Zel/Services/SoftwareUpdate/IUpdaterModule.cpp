#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

namespace Zel::Services::SoftwareUpdate
{

IUpdaterModule::~IUpdaterModule() = default;

} // namespace Zel::Services::SoftwareUpdate
