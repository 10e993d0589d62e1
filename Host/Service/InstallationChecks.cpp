#include "Service/InstallationChecks.h"

#include "Api/SoftwareUpdate1.h"
#include "Service/Clock.h"

#include "Zel/System/Core/Format.h"

#include <algorithm>
#include <charconv>

namespace Zel::Host::Service
{

using Services::SoftwareUpdate::InstallationState;
using System::Core::Format;

namespace
{

/// No device of ours was built before: 2024-01-01.
constexpr std::int64_t EarliestTime = 1'704'067'200'000'000;

Check Pass(const char* name)
{
    return {name, Api::Grade::Pass, ""};
}

Check Warn(const char* name, const String& text)
{
    return {name, Api::Grade::Warn, text};
}

Check Fail(const char* name, const String& text)
{
    return {name, Api::Grade::Fail, text};
}

Check CheckSignature(const InspectionFacts& facts)
{
    if (facts.bundle)
    {
        return Pass("signature");
    }
    return facts.refusal.empty()
               ? Warn("signature",
                      "RAUC was not asked about the bundle. Check again when nothing else fails.")
               : Fail("signature",
                      Format("RAUC refuses the bundle: {0}. Use one that is complete and signed for "
                             "this device; RAUC's log says more.",
                             facts.refusal));
}

Check CheckCompatible(const InspectionFacts& facts)
{
    if (!facts.bundle || facts.deviceCompatible.empty())
    {
        return Warn("compatible", "RAUC did not tell what the bundle and the device are for.");
    }
    return facts.bundle->compatible == facts.deviceCompatible
               ? Pass("compatible")
               : Fail("compatible",
                      Format("The bundle is for '{0}', this device is '{1}'. Use a bundle for it.",
                             facts.bundle->compatible, facts.deviceCompatible));
}

/// Returns the numbers of a version like "2.10.0"; nothing for another form, whose order is not known.
std::optional<std::vector<std::uint64_t>> ToNumbers(const String& version)
{
    std::vector<std::uint64_t> numbers;
    for (std::size_t begin = 0; begin <= version.size();)
    {
        const std::size_t end = std::min(version.find('.', begin), version.size());
        const char* const last = version.data() + end;
        const auto [read, error] = std::from_chars(version.data() + begin, last, numbers.emplace_back());
        if (error != std::errc() || read != last)
        {
            return std::nullopt;
        }
        begin = end + 1;
    }
    // "2.0" is the same as "2.0.0".
    while (!numbers.empty() && numbers.back() == 0)
    {
        numbers.pop_back();
    }
    return numbers;
}

bool IsOlder(const String& version, const String& than)
{
    const auto left = ToNumbers(version);
    const auto right = ToNumbers(than);
    return left && right && *left < *right;
}

Check CheckVersion(const InspectionFacts& facts)
{
    const String version = facts.bundle ? facts.bundle->version : String();
    if (version.empty())
    {
        return Warn("version", "The bundle's version is not known.");
    }
    if (const String fault = InstallationChecks::FindVersionFault(version); !fault.empty())
    {
        return Fail("version", fault + " Build the bundle with a shorter one.");
    }
    if (version == facts.runningVersion)
    {
        return Warn("version",
                    Format("Version {0} is running already. Install it only to repair it.", version));
    }
    if (IsOlder(version, facts.runningVersion))
    {
        return Warn("version", Format("Version {0} is older than the running version {1}. Install it only to "
                                      "go back on purpose.",
                                      version, facts.runningVersion));
    }
    return version == facts.pendingVersion
               ? Warn("version",
                      Format("Version {0} is pending already. It need not be handed over again.", version))
               : Pass("version");
}

Check CheckRauc(const InspectionFacts& facts)
{
    switch (facts.rauc)
    {
    case RaucState::Resting:
        return Pass("rauc");
    case RaucState::Busy:
        return Fail("rauc", String(Describe(facts.rauc)) + " Wait until it is done.");
    case RaucState::Silent:
        return Fail("rauc", String(Describe(facts.rauc)) + " Look at its log, and restart it.");
    case RaucState::Absent:
        break;
    }
    return Fail("rauc", String(Describe(facts.rauc)) + " Start it.");
}

Check CheckBootedSlot(const InspectionFacts& facts)
{
    const RaucSlot* booted = RaucClient::FindBooted(facts.slots);
    if (booted == nullptr)
    {
        return facts.slots.empty()
                   ? Warn("booted-slot", "RAUC did not tell its slots. Check again when it answers.")
                   : Fail("booted-slot", "RAUC does not know which slot is booted. Mend its configuration.");
    }
    return booted->GetText("boot-status") == "bad"
               ? Warn("booted-slot",
                      Format("The booted slot '{0}' is marked bad, so there would be no way back. "
                             "Mark it good if it is ('rauc status mark-good').",
                             booted->name))
           : !facts.primarySlot.empty() && facts.primarySlot != booted->name
               ? Warn("booted-slot",
                      Format("The next restart boots the slot '{0}', not the running '{1}'. Keep the running "
                             "one by 'rauc status mark-active booted', unless that is meant.",
                             facts.primarySlot, booted->name))
               : Pass("booted-slot");
}

/// Whether the device could boot `slot` in place of `booted`.
bool IsOther(const RaucSlot& slot, const RaucSlot& booted)
{
    const bool bootable = slot.GetText("parent").empty() &&
                          slot.GetText("bootname").empty() == booted.GetText("bootname").empty();
    return bootable && slot.name != booted.name && slot.GetText("class") == booted.GetText("class");
}

/// Returns a slot that is mounted: `target` or one that is written together with it. RAUC writes to none.
const RaucSlot* FindMounted(const std::vector<RaucSlot>& slots, const RaucSlot& target)
{
    const auto mounted = [&target](const RaucSlot& slot)
    {
        const bool isTarget = slot.name == target.name || slot.GetText("parent") == target.name;
        return isTarget && !slot.GetText("mountpoint").empty();
    };
    const auto found = std::find_if(slots.begin(), slots.end(), mounted);
    return found == slots.end() ? nullptr : &*found;
}

Check CheckOtherSlot(const InspectionFacts& facts)
{
    const RaucSlot* booted = RaucClient::FindBooted(facts.slots);
    if (booted == nullptr)
    {
        return Warn("other-slot", "Without the booted slot the other one is not known.");
    }
    const RaucSlot* mounted = nullptr;
    for (const RaucSlot& slot : facts.slots)
    {
        if (IsOther(slot, *booted))
        {
            mounted = FindMounted(facts.slots, slot);
            if (mounted == nullptr)
            {
                return Pass("other-slot");
            }
        }
    }
    return Fail("other-slot",
                mounted != nullptr
                    ? Format("The slot '{0}' is mounted at '{1}', and RAUC writes to no mounted slot. "
                             "Unmount it.",
                             mounted->name, mounted->GetText("mountpoint"))
                    : Format("There is no other slot of the class '{0}'. Mend RAUC's configuration.",
                             booted->GetText("class")));
}

Check CheckClock(const InspectionFacts& facts)
{
    return facts.now >= EarliestTime
               ? Pass("clock")
               : Warn("clock",
                      Format("The clock says {0}, so that signatures may count as not valid yet. Set it.",
                             ToText(facts.now)));
}

Check CheckState(const InspectionFacts& facts)
{
    return facts.state == InstallationState::Failed
               ? Fail("state", "The last installation failed. Leave that state by 'resume'.")
               : Pass("state");
}

} // namespace

String InstallationChecks::FindVersionFault(const String& version)
{
    return version.size() <= MaximumVersion
               ? String()
               : Format("The version has {0} characters, at most {1} are possible.", version.size(),
                        MaximumVersion);
}

std::vector<Check> InstallationChecks::Judge(const InspectionFacts& facts)
{
    return {CheckSignature(facts),
            CheckCompatible(facts),
            CheckVersion(facts),
            facts.roomMissing.empty() ? Pass("space") : Fail("space", facts.roomMissing + " Make room."),
            CheckRauc(facts),
            CheckBootedSlot(facts),
            CheckOtherSlot(facts),
            CheckClock(facts),
            CheckState(facts),
            facts.restartObstacle.empty() ? Pass("restart") : Fail("restart", facts.restartObstacle)};
}

} // namespace Zel::Host::Service
