#include "Zel/Services/SoftwareUpdate/IUpdaterModule.h"
#include "Zel/Services/SoftwareUpdate/IUpdaterStatus.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace Zel::Services::SoftwareUpdate
{

namespace
{

/// Returns which slot of the table of virtual functions a member function pointer names: its first word is
/// the slot's offset in bytes, on most architectures with the lowest bit set.
template <typename Method>
std::size_t GetSlot(Method method)
{
    std::uintptr_t word = 0;
    std::memcpy(&word, &method, sizeof(word));
    return word / sizeof(void*);
}

std::vector<std::size_t> CountSlots(std::size_t first, std::size_t count)
{
    std::vector<std::size_t> slots;
    for (std::size_t slot = first; slot < first + count; ++slot)
    {
        slots.push_back(slot);
    }
    return slots;
}

// Modules and services are built and shipped apart: a moved slot calls another function than was meant.

TEST(InterfaceSlotsTest, UpdaterModuleKeepsItsOrder)
{
    const std::vector<std::size_t> slots = {
        GetSlot(&IUpdaterModule::Initialize),         GetSlot(&IUpdaterModule::GetUpdateBehavior),
        GetSlot(&IUpdaterModule::GetSoftwareVersion), GetSlot(&IUpdaterModule::SetSoftwarePackage),
        GetSlot(&IUpdaterModule::GetSoftwarePackage), GetSlot(&IUpdaterModule::InstallSoftwarePackage),
        GetSlot(&IUpdaterModule::GetStatus),          GetSlot(&IUpdaterModule::ResumeInstall),
        GetSlot(&IUpdaterModule::SetUpdateKey),       GetSlot(&IUpdaterModule::RevertInstall)};
    EXPECT_EQ(slots, CountSlots(2, slots.size()));
}

TEST(InterfaceSlotsTest, UpdaterStatusKeepsItsOrder)
{
    const std::vector<std::size_t> slots = {GetSlot(&IUpdaterStatus::GetStatus),
                                            GetSlot(&IUpdaterStatus::SetMessage),
                                            GetSlot(&IUpdaterStatus::SetProgress),
                                            GetSlot(&IUpdaterStatus::BeginInstallation),
                                            GetSlot(&IUpdaterStatus::EndInstallation),
                                            GetSlot(&IUpdaterStatus::ResumeInstallation),
                                            GetSlot(&IUpdaterStatus::WriteProperty),
                                            GetSlot(&IUpdaterStatus::ReadProperty),
                                            GetSlot(&IUpdaterStatus::GetConfirmationTimeout)};
    EXPECT_EQ(slots, CountSlots(2, slots.size()));
}

} // namespace

} // namespace Zel::Services::SoftwareUpdate
