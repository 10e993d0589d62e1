#include "Cli/Commands/Verbs.h"

#include "Cli/BusError.h"
#include "Cli/Commands/ComponentReport.h"
#include "Cli/Facts.h"
#include "Cli/TimeText.h"

#include <algorithm>

namespace Zel::Host::Cli
{

namespace
{

/// Writes a line for each change, and one JSON object for each.
class StatusWatch
{
public:
    explicit StatusWatch(Output& output) : output(output) {}

    /// Shows a state as a whole where none was shown since the service (re)appeared, or else what is new in
    /// it.
    void Show(const ComponentState& state)
    {
        const std::vector<Fact> facts = Facts::OfComponent(state);
        if (shown.empty())
        {
            Report report = MakeReport(state, "shown", "");
            report.facts = facts;
            output.Write(report);
        }
        else
        {
            ShowChanges(state, facts);
        }
        shown = facts;
    }

    void ShowLoss()
    {
        shown.clear();
        Report report;
        report.outcome = "gone";
        report.summary = "the update service has gone";
        report.facts = {MakeTime()};
        output.WriteEvent(report);
    }

private:
    [[nodiscard]] static Fact MakeTime() { return Facts::Text("", "/time", ToTimeText(GetTimeNow())); }

    void ShowChanges(const ComponentState& state, const std::vector<Fact>& facts)
    {
        Report report = MakeReport(state, "changed", "");
        report.next.clear();
        report.facts = {MakeTime()};
        for (std::size_t index = 0; index < facts.size(); ++index)
        {
            if (facts[index].text != shown[index].text)
            {
                report.facts.push_back(facts[index]);
            }
        }
        if (report.facts.size() > 1)
        {
            output.WriteEvent(report);
        }
    }

    Output& output;
    std::vector<Fact> shown;
};

/// Only an interrupt ends this.
[[noreturn]] void Watch(Session& session)
{
    StatusWatch watch(session.GetOutput());
    bool first = true;
    while (true)
    {
        try
        {
            BusClient& client = first ? session.Connect() : session.Await(ClientConnection::Forever);
            first = false;
            client.SetChangeHandler([&watch](const ComponentState& state) { watch.Show(state); });
            watch.Show(client.GetState());
            while (client.WaitForMessage(ClientConnection::Forever))
            {
            }
        }
        catch (const BusError& error)
        {
            session.GetClient().SetChangeHandler({});
            if (first || !error.IsAbsence())
            {
                throw;
            }
            watch.ShowLoss();
        }
    }
}

} // namespace

Report RunStatus(Session& session)
{
    if (session.GetArguments().watch)
    {
        Watch(session);
    }
    const ComponentState& state = session.Connect().GetState();
    Report report = MakeReport(state, "shown", "");
    report.facts = Facts::OfComponent(state);
    return report;
}

} // namespace Zel::Host::Cli
