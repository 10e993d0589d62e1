#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"

#include <array>
#include <bit>
#include <cstddef>
#include <gmock/gmock.h>
#include <vector>

namespace Zel::Services::SoftwareUpdate
{

namespace
{

/// Returns the slots of the table of virtual functions that member function pointers name: a pointer's first
/// word is the slot's offset in bytes, on most architectures with the lowest bit set.
template <typename... Methods>
std::vector<std::size_t> GetSlots(Methods... methods)
{
    return {std::bit_cast<std::array<std::size_t, 2>>(methods)[0] / sizeof(void*)...};
}

} // namespace

// Modules and services are built and shipped apart: a moved slot calls another function than was meant.
TEST(InterfaceSlotsTest, InterfacesKeepTheirOrder)
{
    using Module = IUpdaterModule;
    using Status = IUpdaterStatus;
    EXPECT_THAT(GetSlots(&Module::Initialize, &Module::GetUpdateBehavior, &Module::GetSoftwareVersion,
                         &Module::SetSoftwarePackage, &Module::GetSoftwarePackage,
                         &Module::InstallSoftwarePackage, &Module::GetStatus, &Module::ResumeInstall,
                         &Module::SetUpdateKey, &Module::RevertInstall),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    EXPECT_THAT(GetSlots(&Status::GetStatus, &Status::SetMessage, &Status::SetProgress,
                         &Status::BeginInstallation, &Status::EndInstallation, &Status::ResumeInstallation,
                         &Status::WriteProperty, &Status::ReadProperty, &Status::GetConfirmationTimeout),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10));
}

} // namespace Zel::Services::SoftwareUpdate
