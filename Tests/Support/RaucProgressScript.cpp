#include "Support/RaucProgressScript.h"

namespace Zel::Tests::Support
{

RaucProgressScript::Steps RaucProgressScript::Info()
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

RaucProgressScript::Steps RaucProgressScript::Installation(Edition edition, const String& slotName,
                                                           const String& bootname)
{
    const bool isOld = edition == Edition::Rauc18;
    const String checked = isOld ? slotName : slotName + " (" + bootname + ")";
    const auto at = [isOld](std::int32_t old, std::int32_t percentage) { return isOld ? old : percentage; };
    Steps steps = {{0, "Installing", 1},
                   {0, "Determining slot states", 2},
                   {at(20, 10), "Determining slot states done.", 2},
                   {at(20, 10), "Checking bundle", 2},
                   {at(20, 10), "Verifying signature", 3},
                   {at(40, 20), "Verifying signature done.", 3},
                   {at(40, 20), "Checking bundle done.", 2},
                   {at(40, 20), "Checking manifest contents", 2},
                   {at(60, 30), "Checking manifest contents done.", 2},
                   {at(60, 30), "Determining target install group", 2},
                   {at(80, 40), "Determining target install group done.", 2},
                   {at(80, 40), "Updating slots", 2},
                   {at(80, 40), "Checking slot " + checked, 3},
                   {at(90, 46), "Checking slot " + checked + " done.", 3}};
    for (std::int32_t percentage = at(90, 46); percentage <= at(90, 99); ++percentage)
    {
        steps.push_back({percentage, "Copying image to " + slotName, 3});
    }
    steps.push_back({99, "Copying image to " + slotName + " done.", 3});
    steps.push_back({99, "Updating slots done.", 2});
    steps.push_back({100, "Installing done.", 1});
    return steps;
}

RaucProgressScript::Steps RaucProgressScript::FailedInstallation()
{
    Steps steps = Installation(Edition::Rauc18, "", "");
    steps.resize(5);
    steps.push_back({40, "Verifying signature failed.", 3});
    steps.push_back({40, "Checking bundle failed.", 2});
    return steps;
}

} // namespace Zel::Tests::Support
