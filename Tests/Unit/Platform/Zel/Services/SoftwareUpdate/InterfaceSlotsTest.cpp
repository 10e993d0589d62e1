#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"

#include <bit>
#include <gmock/gmock.h>

namespace Zel::Services::SoftwareUpdate
{

// Modules and services are built and shipped apart: a moved slot calls another function than was meant.
TEST(InterfaceSlotsTest, InterfacesKeepTheirOrder)
{
    using Module = IUpdaterModule;
    using Status = IUpdaterStatus;
    // The slots of the table of virtual functions that member function pointers name: a pointer's first word
    // is the slot's offset in bytes, on most architectures with the lowest bit set.
    const auto getSlots = [](auto... methods) -> std::vector<std::size_t>
    { return {std::bit_cast<std::array<std::size_t, 2>>(methods)[0] / sizeof(void*)...}; };
    EXPECT_THAT(getSlots(&Module::Initialize, &Module::GetUpdateBehavior, &Module::GetSoftwareVersion,
                         &Module::SetSoftwarePackage, &Module::GetSoftwarePackage,
                         &Module::InstallSoftwarePackage, &Module::GetStatus, &Module::ResumeInstall,
                         &Module::SetUpdateKey, &Module::RevertInstall),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10, 11));
    EXPECT_THAT(getSlots(&Status::GetStatus, &Status::SetMessage, &Status::SetProgress,
                         &Status::BeginInstallation, &Status::EndInstallation, &Status::ResumeInstallation,
                         &Status::WriteProperty, &Status::ReadProperty, &Status::GetConfirmationTimeout),
                testing::ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 10));
}

} // namespace Zel::Services::SoftwareUpdate
