#include "Cli/Application.h"

#include "Cli/BusError.h"
#include "Cli/CommandLine.h"
#include "Cli/Commands/Verbs.h"
#include "Cli/Output.h"
#include "Cli/Session.h"

#include <algorithm>
#include <exception>
#include <variant>

namespace Zel::Host::Cli
{

namespace
{

Report ToReport(const CommandError& error)
{
    Report report;
    report.exitCode = error.GetExitCode();
    report.outcome = error.GetExitCode() == ExitCode::Done ? "nothing-to-do" : "error";
    report.summary = error.GetMessage();
    report.next = error.GetNext();
    return report;
}

Report ToReport(const Interrupted& interrupted)
{
    Report report;
    report.exitCode = ExitCode::Failed;
    report.outcome = "interrupted";
    report.summary = "interrupted; what the service has begun goes on without zelupdate";
    report.next = "'zelupdate status' shows how things stand.";
    report.signalNumber = interrupted.GetSignalNumber();
    return report;
}

Report RunVerb(const Arguments& arguments, Output& output, const Terminal& terminal)
{
    try
    {
        Session session(arguments, output, terminal);
        return arguments.verb->run(session);
    }
    catch (const BusError& error)
    {
        Report report = ToReport(error);
        report.errorName = error.GetShortName();
        return report;
    }
    catch (const CommandError& error)
    {
        return ToReport(error);
    }
    catch (const Interrupted& interrupted)
    {
        return ToReport(interrupted);
    }
    catch (const std::exception& error)
    {
        return ToReport(CommandError(ExitCode::Failed, error.what()));
    }
}

int RunCall(const Arguments& arguments, std::ostream& out, std::ostream& err, const Terminal& terminal)
{
    Output output(out, err, arguments.style, arguments.verb->name);
    const Report report = RunVerb(arguments, output, terminal);
    output.Write(report);
    if (report.signalNumber != 0)
    {
        InterruptSignals::EndProcess(report.signalNumber);
    }
    return static_cast<int>(out.fail() ? ExitCode::Failed : report.exitCode);
}

} // namespace

int Application::Run(const std::vector<String>& arguments, std::ostream& out, std::ostream& err,
                     const Terminal& terminal) noexcept
{
    try
    {
        const std::variant<Arguments, String> parsed = CommandLine::Parse(arguments);
        if (const auto* const text = std::get_if<String>(&parsed))
        {
            out << *text << std::flush;
            return static_cast<int>(out.fail() ? ExitCode::Failed : ExitCode::Done);
        }
        return RunCall(std::get<Arguments>(parsed), out, err, terminal);
    }
    catch (const CommandError& error)
    {
        const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
        Output(out, err, {json, false}, "").Write(ToReport(error));
        return static_cast<int>(error.GetExitCode());
    }
    catch (const std::exception& error)
    {
        err << "zelupdate: " << error.what() << std::endl;
        return static_cast<int>(ExitCode::Failed);
    }
}

} // namespace Zel::Host::Cli
