#include "Support/RaucProgressScript.h"

namespace Zel::Tests::Support
{

std::vector<RaucProgressStep> RaucProgressScript::Info()
{
    return {{0, "Checking bundle", 1},
            {0, "Verifying signature", 2},
            {100, "Verifying signature done.", 2},
            {100, "Checking bundle done.", 1},
            {0, "Bundle payload verification not needed", 1},
            {100, "Bundle payload verification not needed done.", 1},
            {0, "Uncompressing squashfs", 1},
            {100, "Uncompressing squashfs done.", 1},
            {0, "Checking manifest contents", 1},
            {100, "Checking manifest contents done.", 1}};
}

std::vector<RaucProgressStep> RaucProgressScript::Installation(Edition edition, const String& slotName,
                                                               const String& bootname)
{
    return edition == Edition::Rauc18 ? Installation18(slotName) : Installation115(slotName, bootname);
}

std::vector<RaucProgressStep> RaucProgressScript::Installation18(const String& slotName)
{
    return {{0, "Installing", 1},
            {0, "Determining slot states", 2},
            {20, "Determining slot states done.", 2},
            {20, "Checking bundle", 2},
            {20, "Verifying signature", 3},
            {40, "Verifying signature done.", 3},
            {40, "Checking bundle done.", 2},
            {40, "Checking manifest contents", 2},
            {60, "Checking manifest contents done.", 2},
            {60, "Determining target install group", 2},
            {80, "Determining target install group done.", 2},
            {80, "Updating slots", 2},
            {80, "Checking slot " + slotName, 3},
            {90, "Checking slot " + slotName + " done.", 3},
            {90, "Copying image to " + slotName, 3},
            {99, "Copying image to " + slotName + " done.", 3},
            {99, "Updating slots done.", 2},
            {100, "Installing done.", 1}};
}

std::vector<RaucProgressStep> RaucProgressScript::Installation115(const String& slotName,
                                                                  const String& bootname)
{
    const String slot = slotName + " (" + bootname + ")";
    std::vector<RaucProgressStep> steps = {{0, "Installing", 1},
                                           {0, "Determining slot states", 2},
                                           {10, "Determining slot states done.", 2},
                                           {10, "Checking bundle", 2},
                                           {10, "Verifying signature", 3},
                                           {20, "Verifying signature done.", 3},
                                           {20, "Checking bundle done.", 2},
                                           {20, "Checking manifest contents", 2},
                                           {30, "Checking manifest contents done.", 2},
                                           {30, "Determining target install group", 2},
                                           {40, "Determining target install group done.", 2},
                                           {40, "Updating slots", 2},
                                           {40, "Checking slot " + slot, 3},
                                           {46, "Checking slot " + slot + " done.", 3}};
    for (std::int32_t percentage = 46; percentage <= 99; ++percentage)
    {
        steps.push_back({percentage, "Copying image to " + slotName, 3});
    }
    steps.push_back({99, "Copying image to " + slotName + " done.", 3});
    steps.push_back({99, "Updating slots done.", 2});
    steps.push_back({100, "Installing done.", 1});
    return steps;
}

std::vector<RaucProgressStep> RaucProgressScript::FailedInstallation()
{
    return {{0, "Installing", 1},
            {0, "Determining slot states", 2},
            {20, "Determining slot states done.", 2},
            {20, "Checking bundle", 2},
            {20, "Verifying signature", 3},
            {40, "Verifying signature failed.", 3},
            {40, "Checking bundle failed.", 2}};
}

} // namespace Zel::Tests::Support
