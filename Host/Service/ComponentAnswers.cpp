#include "Service/ComponentAnswers.h"

#include "Service/Clock.h"

#include "Zel/System/Commons/Diagnostics/Logging/ILogSink.h"
#include "Zel/System/Core/Format.h"

#include <systemd/sd-bus.h>

#include <functional>
#include <map>

namespace Zel::Host::Service
{

using System::Commons::Diagnostics::Logging::EscapeControlCharacters;
using System::Core::Format;

namespace
{

/// Appends, and remembers the first failure.
class Appender
{
public:
    explicit Appender(sd_bus_message* answer) : answer(answer) {}

    template <typename... Values>
    void Add(const char* types, Values... values)
    {
        result = result < 0 ? result : sd_bus_message_append(answer, types, values...);
    }

    void Text(const String& text) { Add("s", EscapeControlCharacters(text).c_str()); }

    void Container(char type, const char* content, const std::function<void()>& append)
    {
        result = result < 0 ? result : sd_bus_message_open_container(answer, type, content);
        append();
        result = result < 0 ? result : sd_bus_message_close_container(answer);
    }

    void Entry(const char* key, const char* type, const std::function<void()>& append)
    {
        Container(SD_BUS_TYPE_DICT_ENTRY, "sv",
                  [&]
                  {
                      Add("s", key);
                      Container(SD_BUS_TYPE_VARIANT, type, append);
                  });
    }

    void TextEntry(const char* key, const String& text)
    {
        Entry(key, "s", [&] { Text(text); });
    }

    void TimeEntry(const char* key, std::int64_t time)
    {
        Entry(key, "t", [&] { Add("t", static_cast<std::uint64_t>(time)); });
    }

    [[nodiscard]] int GetResult() const noexcept { return result; }

private:
    sd_bus_message* answer;
    int result = 0;
};

void AppendChecks(Appender& appender, const std::vector<Check>& checks)
{
    appender.Container(SD_BUS_TYPE_ARRAY, "(sss)",
                       [&]
                       {
                           for (const Check& check : checks)
                           {
                               appender.Add("(sss)", check.name.c_str(), check.grade.c_str(),
                                            EscapeControlCharacters(check.text).c_str());
                           }
                       });
}

void AppendSteps(Appender& appender, const std::vector<HistoryEntry::Step>& steps)
{
    appender.Container(SD_BUS_TYPE_ARRAY, "(ts)",
                       [&]
                       {
                           for (const HistoryEntry::Step& step : steps)
                           {
                               appender.Add("(ts)", static_cast<std::uint64_t>(step.time),
                                            EscapeControlCharacters(step.text).c_str());
                           }
                       });
}

void AppendEntry(Appender& appender, const HistoryEntry& entry)
{
    appender.TextEntry("kind", entry.kind);
    appender.TextEntry("caller", entry.caller);
    appender.TextEntry("from", entry.from);
    appender.TextEntry("to", entry.to);
    appender.TextEntry("slot", entry.slot);
    appender.TimeEntry("begun", entry.begun);
    appender.TimeEntry("ended", entry.ended);
    appender.Entry("steps", "a(ts)", [&] { AppendSteps(appender, entry.steps); });
    appender.TextEntry("result", entry.result);
    appender.TextEntry("reason", entry.reason);
}

} // namespace

int ComponentAnswers::Append(sd_bus_message* answer, const Inspection& inspection)
{
    Appender appender(answer);
    appender.Container(
        SD_BUS_TYPE_ARRAY, "{sv}",
        [&]
        {
            appender.TextEntry("version", inspection.version);
            appender.TextEntry("compatible", inspection.compatible);
            appender.TextEntry("deviceCompatible", inspection.deviceCompatible);
            if (inspection.fits)
            {
                appender.Entry("fits", "b", [&] { appender.Add("b", *inspection.fits ? 1 : 0); });
            }
            appender.Entry("size", "t", [&] { appender.Add("t", inspection.size); });
            appender.Entry("checks", "a(sss)", [&] { AppendChecks(appender, inspection.checks); });
        });
    return appender.GetResult();
}

int ComponentAnswers::Append(sd_bus_message* answer, const std::vector<HistoryEntry>& entries)
{
    Appender appender(answer);
    appender.Container(SD_BUS_TYPE_ARRAY, "a{sv}",
                       [&]
                       {
                           for (const HistoryEntry& entry : entries)
                           {
                               appender.Container(SD_BUS_TYPE_ARRAY, "{sv}",
                                                  [&] { AppendEntry(appender, entry); });
                           }
                       });
    return appender.GetResult();
}

String ComponentAnswers::DescribeProgress(const ComponentSnapshot& snapshot)
{
    if (snapshot.activity == Activity::Waiting)
    {
        const String until = snapshot.nextStart > GetUnixTime() ? ToText(snapshot.nextStart) : "RAUC rests";
        return Format("An installation waits until {0}. 'zelupdate cancel' calls it off.", until);
    }
    static const std::map<String, String> Texts = {
        {Activity::Starting, "The updater is starting. Try again in a moment."},
        {Activity::Reverting, "The device goes back to its earlier version. Try again after its restart."},
        {Activity::Restarting, "The device is about to restart. Try again after that."},
        {Activity::RestartNeeded,
         "All is done but the restart of the device, which could not be ordered. Restart it by hand."},
        {Activity::Deciding,
         "RAUC has to tell how far the last installation came. Try again when it answers; "
         "'systemctl status rauc' shows whether it does."}};
    const auto text = Texts.find(snapshot.activity);
    return text != Texts.end() ? text->second
                               : "An installation is in progress. Try again when it has ended.";
}

} // namespace Zel::Host::Service
