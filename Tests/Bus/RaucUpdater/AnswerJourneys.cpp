#include "Bus/RaucUpdater/ScriptedJourneys.h"

#include <ranges>

namespace Zel::Tests
{

namespace
{

using Support::BusWriter;
using Support::ScriptedAnswer;
using Support::ScriptedRauc;
using Support::ScriptedSlot;

const String Unread = "error DesktopBusMethod: Failed to read reply";
const String VerifyFailed = "The verification of the software package failed.";
const String Unnotified = "error DesktopBusConnection: Failed to notify PropertiesChangedSignal";
const Lines Verifying = {"info VersionManager: Verify pending version."};
const ScriptedAnswer Nothing = ScriptedAnswer::Texts({});
const ScriptedAnswer OneText = ScriptedAnswer::Texts({"x"});
const ScriptedAnswer Number = ScriptedAnswer::Values([](BusWriter& writer) { writer.Int32(3).Int32(4); });
const ScriptedAnswer NumberVariant = ScriptedAnswer::Values(
    [](BusWriter& writer) { writer.Variant("i", [](BusWriter& content) { content.Int32(3); }); });

/// The bundle cannot be verified.
Journey Unverified(const String& name, const ScriptedAnswer& answer, const String& error)
{
    return {
        .name = name,
        .steps = {Answer("Info", answer), Stage("3.0.0.0", {}, ResultCode::InvalidArgument, VerifyFailed)},
        .story = Verifying +
                 Lines{"error RaucInfoMethod: " + error, Unread, "error VersionManager: " + VerifyFailed}};
}

/// The system's compatible cannot be read.
Journey Incomparable(const String& name, const ScriptedAnswer& answer, const String& error)
{
    return {.name = name,
            .steps = {Answer("Compatible", answer), Stage("3.0.0.0", {"--compatible", "Other"})},
            .story = Verifying + Lines{"error RaucCompatibleProperty: " + error, Unread,
                                       "error VersionManager: Failed to get compatible.",
                                       "warning VersionManager: System's compatible is not set and cannot be "
                                       "validated against Other.",
                                       "info VersionManager: The pending version '3.0.0.0' is accepted."},
            .pending = true};
}

/// An installation ends as failed because of an answer.
Journey Unstarted(const String& name, const String& version, const String& member,
                  const ScriptedAnswer& answer, ResultCode result, const Lines& story)
{
    return {.name = name,
            .steps = {Stage("3.0.0.0"), Answer(member, answer), Install(version, result)},
            .story = Staged("3.0.0.0") + Begun(version, "2.0.0.0", "rootfs.0") + story +
                     Lines{"EndInstallation failed"},
            .state = InstallationState::Failed,
            .pending = true};
}

/// The booted slot cannot be read, so the primary one is taken for it.
Journey Unlisted(const String& name, const ScriptedAnswer& answer, const Lines& errors)
{
    Lines begun = Begun("3.0.0.0", "2.0.0.0", "rootfs.0");
    begun.insert(begun.begin() + 7, errors.begin(), errors.end());
    begun.insert(begun.begin() + 7 + static_cast<long>(errors.size()), Unread);
    return {
        .name = name,
        .steps = {Stage("3.0.0.0"), Answer("GetSlotStatus", answer), Hold(1), Install("3.0.0.0"), Settle()},
        .story = Staged("3.0.0.0") + begun + Installing("0%: Installing"),
        .state = InstallationState::Installing,
        .pending = true};
}

void AddWrongShapes(std::vector<Journey>& rows)
{
    const String invalid = "Failed to start RAUC installation. Invalid RAUC state.";
    const String unswitched = "Failed to switch slot to fallback version.";
    const auto slots = [](const String& signature, const BusWriter::Write& write)
    { return ScriptedAnswer::Values([=](BusWriter& writer) { writer.Array(signature, write); }); };
    const auto unswitchedBy = [&](const String& error)
    {
        return FallingBack() + Lines{"error RaucMarkMethod: " + error, Unread, "error: " + unswitched,
                                     "SetMessage '" + unswitched + "'"};
    };
    const auto invalidBy = [&](const String& error)
    {
        return Lines{"error RaucOperationProperty: " + error, Unread, "error: " + invalid,
                     "SetMessage '" + invalid + "'"};
    };
    rows.push_back(Unverified("InfoOfNothing", Nothing, "Failed to get fields. Fields: []"));
    rows.push_back(Unverified("InfoOfNumbers", Number, "Failed to get arg:compatible. Fields: *"));
    rows.push_back(Unverified("InfoWithoutVersion", OneText, "Failed to get arg:version. Fields: *"));
    rows.push_back(Incomparable("CompatibleOfNothing", Nothing, "Failed to enter variant. Fields: []"));
    rows.push_back(Incomparable("CompatibleOfANumber", NumberVariant, "Failed to get compatible. Fields: *"));
    rows.push_back(Unstarted("OperationOfNothing", "3.0.0.0", "Operation", Nothing, ResultCode::InvalidState,
                             invalidBy("Failed to enter variant. Fields: []")));
    rows.push_back(Unstarted("OperationOfANumber", "3.0.0.0", "Operation", NumberVariant,
                             ResultCode::InvalidState, invalidBy("Failed to get operation. Fields: *")));
    rows.push_back(Unstarted("MarkOfNothing", "1.0.0.0", "Mark", Nothing, ResultCode::OperationFailed,
                             unswitchedBy("Failed to get fields. Fields: []")));
    rows.push_back(Unstarted("MarkOfANumber", "1.0.0.0", "Mark", Number, ResultCode::OperationFailed,
                             unswitchedBy("Failed to get arg:slotName. Fields: *")));
    rows.push_back(Unstarted("MarkWithoutMessage", "1.0.0.0", "Mark", OneText, ResultCode::OperationFailed,
                             unswitchedBy("Failed to get arg:message. Fields: *")));
    rows.push_back(Unlisted("SlotStatusOfNothing", Nothing,
                            {"error RaucGetSlotStatusMethod: Failed to enter array. Fields: []"}));
    rows.push_back(Unlisted("SlotStatusOfNumbers", slots("i", [](BusWriter& writer) { writer.Int32(3); }),
                            {"error RaucGetSlotStatusMethod: Failed to enter struct. Fields: *"}));
    rows.push_back(Unlisted("SlotStatusOfNamesOnly",
                            slots("(s)", [](BusWriter& writer)
                                  { writer.Struct([](BusWriter& slot) { slot.Text("rootfs.0"); }); }),
                            {}));
    // The answer to "InstallBundle" is not looked at.
    rows.push_back({.name = "InstallBundleOfNumbers",
                    .steps = {Stage("3.0.0.0"), Answer("InstallBundle", Number), Install("3.0.0.0")},
                    .story = Staged("3.0.0.0") + Begun("3.0.0.0", "2.0.0.0", "rootfs.0") +
                             Lines{"info: The pending version will be installed."},
                    .state = InstallationState::Installing,
                    .pending = true});
    const String neither = "Failed to get neither booted nor primary slot.";
    rows.push_back(Unlisted("PrimaryOfNumbers", Nothing,
                            {"error RaucGetSlotStatusMethod: Failed to enter array. Fields: []", Unread,
                             "error RaucGetPrimaryMethod: Failed to get GetPrimary. Fields: *"}));
    Journey& row = rows.back();
    row.steps = {Stage("3.0.0.0"), Answer("GetSlotStatus", Nothing), Answer("GetPrimary", Number),
                 Install("3.0.0.0", ResultCode::OperationFailed)};
    row.story.resize(13);
    row.story = row.story + Lines{"error VersionManager: " + neither, "SetMessage '" + neither + "'",
                                  "WriteProperty InstallerSlotName=", "EndInstallation failed"};
    row.state = InstallationState::Failed;
}

/// Each call once answered by "NoReply", then normally.
Journey Retried()
{
    const auto once = ScriptedAnswer::Error(ScriptedAnswer::NoReplyError, "late").Once();
    const String late = "error DesktopBusMethod: Error: " + ScriptedAnswer::NoReplyError + " - late";
    const auto& verify = Verifying.front();
    Lines begun = Begun("3.0.0.0", "2.0.0.0", "rootfs.0");
    begun.insert(begun.begin() + 7, late);
    Journey row{.name = "NoReplyAndThenTheRetryIsAnswered",
                .story =
                    Lines{verify, late, late, Staged("3.0.0.0").back()} + begun + Lines{late} +
                    Lines{"info: The pending version will be installed.", late, "progress 0%: Installing"},
                .state = InstallationState::Installing,
                .pending = true};
    for (const char* member : {"Info", "Compatible", "GetSlotStatus", "Operation", "InstallBundle"})
    {
        row.steps.push_back(Answer(member, once));
    }
    row.steps.insert(row.steps.end(), {Stage("3.0.0.0"), Hold(1), Install("3.0.0.0"), Settle()});
    return row;
}

/// An installation that RAUC holds after its first step, and what the module makes of a signal then.
Journey Told(const String& name, const std::function<void(ScriptedRauc&)>& tell, const Lines& story,
             InstallationState state = InstallationState::Installing,
             const String& progress = "0%: Installing")
{
    return {.name = name,
            .steps = {Stage("3.0.0.0"), Hold(1), Install("3.0.0.0"), Await("SetProgress 0"), Rauc(tell)},
            .story =
                Staged("3.0.0.0") + Begun("3.0.0.0", "2.0.0.0", "rootfs.0") + Installing(progress) + story,
            .state = state,
            .pending = true};
}

void AddSignals(std::vector<Journey>& rows)
{
    const auto known = [](BusWriter& entries)
    {
        entries.Entry("Progress", "(isi)", ScriptedRauc::ProgressContent({40, "Copying", 1}))
            .TextEntry("Unknown", "x")
            .TextEntry("LastError", "broken");
    };
    const auto wrong = [](BusWriter& entries) { entries.TextEntry("Progress", "x"); };
    rows.push_back(Told(
        "AnUnknownKeyEndsTheSignal", [=](auto& rauc) { rauc.EmitProperties(known); }, {Unnotified},
        InstallationState::Installing, "40%: Copying"));
    rows.push_back(Told("ProgressOfAText", [=](auto& rauc) { rauc.EmitProperties(wrong); },
                        {"error RaucProgressProperty: Failed to enter struct. Fields: *", Unnotified}));
    rows.push_back(Told("CompletedWithoutCode",
                        [](auto& rauc) { rauc.EmitSignal("de.pengutronix.rauc.Installer", "Completed"); },
                        {"error DesktopBusConnection: Failed to notify RaucCompletedSignal"}));
    rows.push_back(Told("LastErrorIsCleared", [](auto& rauc) { rauc.EmitLastError(""); }, {}));
    rows.push_back(Told(
        "CompletedWithAFailure", [](auto& rauc) { rauc.EmitCompleted(7); },
        {"info: Installation HasCompleted=false", "EndInstallation failed"}, InstallationState::Failed));
    // Signals of an installation that is not the module's own change nothing.
    const auto foreign = Rauc(
        [](auto& rauc)
        {
            rauc.EmitProgress(40, "Copying", 1);
            rauc.EmitLastError("broken");
        });
    const auto completed = Rauc([](auto& rauc) { rauc.EmitCompleted(1); });
    rows.push_back({.name = "SignalsOutsideOfItsOwnInstallation",
                    .steps = {foreign, completed, Settle(), Stored(InstallationState::Failed, {}), foreign,
                              completed, Settle(), Stored(InstallationState::Installing, {}), foreign},
                    .state = InstallationState::Installing});
}

void AddSlots(std::vector<Journey>& rows)
{
    std::vector<ScriptedSlot> sixteen;
    for (int i = 0; i < 16; ++i)
    {
        const String name = "rootfs." + std::to_string(i);
        sixteen.push_back(ScriptedSlot(name, "B" + name, i == 15 ? "booted" : "inactive")
                              .Written(std::to_string(i) + ".0.0.0"));
        if (i < 7)
        {
            sixteen.back()
                .Set("boot-status", i % 2 == 0 ? "bad" : "good")
                .Set("status", i % 2 == 0 ? "ok" : "pending");
        }
    }
    const auto newRauc =
        Rauc([](auto& rauc) { rauc.LetInstallationSucceed(ScriptedRauc::Edition::Rauc115); });
    rows.push_back({.name = "ABurstOfSeventyOneSteps",
                    .steps = {newRauc, Update("3.0.0.0")},
                    .story = Updated("3.0.0.0", "2.0.0.0", "rootfs.0"),
                    .revertible = true,
                    .running = "3.0.0.0",
                    .primary = "rootfs.1"});
    // An answer is read up to 1024 values. The last slot, the booted one, is beyond, so the primary one is
    // taken for it; "rootfs.10" comes before "rootfs.7".
    rows.push_back({.name = "SixteenSlots",
                    .before = {Rauc([=](auto& rauc) { rauc.SetSlots(sixteen); })},
                    .steps = {Ask(FileType::Fallback, "10.0.0.0"), Install("10.0.0.0"), Restart()},
                    .story = Begun("10.0.0.0", "2.0.0.0", "rootfs.0") + FallingBack() + Rebooted() +
                             Confirmed("10.0.0.0", false),
                    .revertible = true,
                    .running = "10.0.0.0",
                    .primary = "rootfs.10"});
}

} // namespace

std::vector<Journey> AnswerJourneys()
{
    std::vector<Journey> rows = {Retried()};
    AddWrongShapes(rows);
    AddSignals(rows);
    AddSlots(rows);
    return rows;
}

} // namespace Zel::Tests
