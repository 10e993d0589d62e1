#include "Cli/AnswerReader.h"

#include "Api/SoftwareUpdate1.h"
#include "Cli/ClientConnection.h"
#include "Cli/MessageReader.h"

#include <systemd/sd-bus.h>

#include <cstdlib>
#include <memory>
#include <utility>

namespace Zel::Host::Cli
{

namespace
{

struct Free
{
    void operator()(char* text) const noexcept { std::free(text); }
};

using CText = std::unique_ptr<char, Free>;

void ReadProgress(sd_bus_message& message, ComponentState& state)
{
    std::int32_t depth = 0;
    const char* text = nullptr;
    MessageReader::Check(sd_bus_message_read(&message, "v", "(isi)", &state.progressPercent, &text, &depth));
    state.progressText = text;
}

void ReadLastVerdict(sd_bus_message& message, ComponentState& state)
{
    const char* result = nullptr;
    const char* version = nullptr;
    const char* reason = nullptr;
    std::uint64_t time = 0;
    MessageReader::Check(sd_bus_message_read(&message, "v", "(ssst)", &result, &version, &reason, &time));
    state.lastVerdict = {result, version, reason, time};
}

void ReadComponentId(sd_bus_message& message, std::vector<String>& ids)
{
    const char* path = nullptr;
    char* decoded = nullptr;
    MessageReader::Check(sd_bus_message_read(&message, "o", &path));
    const int result =
        MessageReader::Check(sd_bus_path_decode(path, Api::ComponentPathPrefix.c_str(), &decoded));
    const CText id(decoded);
    if (result > 0)
    {
        ids.emplace_back(id.get());
    }
}

void ReadCheck(sd_bus_message& message, std::vector<BundleCheck>& checks)
{
    const char* name = nullptr;
    const char* result = nullptr;
    const char* text = nullptr;
    MessageReader::Check(sd_bus_message_read(&message, "(sss)", &name, &result, &text));
    checks.push_back({name, result, text});
}

void ReadStep(sd_bus_message& message, std::vector<HistoryStep>& steps)
{
    const char* what = nullptr;
    HistoryStep step;
    MessageReader::Check(sd_bus_message_read(&message, "(ts)", &step.time, &what));
    step.what = what;
    steps.push_back(std::move(step));
}

PastInstallation ReadEntry(sd_bus_message& message)
{
    PastInstallation entry;
    const auto readSteps = [&entry](sd_bus_message& steps)
    { MessageReader::ReadArray(steps, "(ts)", [&] { ReadStep(steps, entry.steps); }); };
    MessageReader::ReadDictionary(message, {{"kind", MessageReader::Into(entry.kind)},
                                            {"caller", MessageReader::Into(entry.caller)},
                                            {"from", MessageReader::Into(entry.from)},
                                            {"to", MessageReader::Into(entry.to)},
                                            {"slot", MessageReader::Into(entry.slot)},
                                            {"begun", MessageReader::Into(entry.begun)},
                                            {"ended", MessageReader::Into(entry.ended)},
                                            {"steps", readSteps},
                                            {"result", MessageReader::Into(entry.result)},
                                            {"reason", MessageReader::Into(entry.reason)}});
    return entry;
}

} // namespace

void AnswerReader::ReadProperties(sd_bus_message& message, ComponentState& state)
{
    ComponentState read = state;
    MessageReader::ReadDictionary(
        message, {{"Id", MessageReader::Into(read.id)},
                  {"State", MessageReader::Into(read.state)},
                  {"Activity", MessageReader::Into(read.activity)},
                  {"Message", MessageReader::Into(read.message)},
                  {"Progress", [&read](sd_bus_message& progress) { ReadProgress(progress, read); }},
                  {"Revertible", MessageReader::Into(read.revertible)},
                  {"CurrentVersion", MessageReader::Into(read.currentVersion)},
                  {"PendingVersion", MessageReader::Into(read.pendingVersion)},
                  {"FallbackVersion", MessageReader::Into(read.fallbackVersion)},
                  {"VersionsTime", MessageReader::Into(read.versionsTime)},
                  {"BootId", MessageReader::Into(read.bootId)},
                  {"LastVerdict", [&read](sd_bus_message& verdict) { ReadLastVerdict(verdict, read); }},
                  {"NextStart", MessageReader::Into(read.nextStart)}});
    state = std::move(read);
}

ServiceDescription AnswerReader::ReadService(sd_bus_message& message)
{
    ServiceDescription service;
    const auto readModules = [&service](sd_bus_message& modules)
    {
        MessageReader::ReadArray(modules, "s",
                                 [&] { service.modules.push_back(MessageReader::ReadText(modules)); });
    };
    const auto readComponents = [&service](sd_bus_message& paths)
    { MessageReader::ReadArray(paths, "o", [&] { ReadComponentId(paths, service.components); }); };
    MessageReader::ReadDictionary(message, {{"Version", MessageReader::Into(service.version)},
                                            {"Modules", readModules},
                                            {"Components", readComponents}});
    return service;
}

BundleInspection AnswerReader::ReadInspection(sd_bus_message& message)
{
    BundleInspection bundle;
    const auto readChecks = [&bundle](sd_bus_message& checks)
    { MessageReader::ReadArray(checks, "(sss)", [&] { ReadCheck(checks, bundle.checks); }); };
    MessageReader::ReadDictionary(message,
                                  {{"version", MessageReader::Into(bundle.version)},
                                   {"compatible", MessageReader::Into(bundle.compatible)},
                                   {"deviceCompatible", MessageReader::Into(bundle.deviceCompatible)},
                                   {"fits", MessageReader::Into(bundle.fits)},
                                   {"size", MessageReader::Into(bundle.size)},
                                   {"checks", readChecks}});
    return bundle;
}

std::vector<PastInstallation> AnswerReader::ReadHistory(sd_bus_message& message)
{
    std::vector<PastInstallation> entries;
    MessageReader::ReadBareArray(message, "a{sv}", [&] { entries.push_back(ReadEntry(message)); });
    return entries;
}

String AnswerReader::ToPath(const String& id)
{
    char* encoded = nullptr;
    ClientConnection::Check(sd_bus_path_encode(Api::ComponentPathPrefix.c_str(), id.c_str(), &encoded));
    const CText path(encoded);
    return path.get();
}

} // namespace Zel::Host::Cli
