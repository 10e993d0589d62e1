#include "Api/Version.h"
#include "Service/EventLoop.h"
#include "Service/ServiceSettings.h"
#include "Service/UpdateService.h"

#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"

#include <CLI/CLI.hpp>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

namespace
{

using Zel::String;
using Zel::Host::Api::Version;
using Zel::Host::Service::EventLoop;
using Zel::Host::Service::LogSinkKind;
using Zel::Host::Service::ServiceSettings;
using Zel::Host::Service::UpdateService;
using Zel::System::Commons::Diagnostics::Logging::Loggable;
using Zel::System::Commons::Diagnostics::Logging::LogLevel;
using Zel::System::Commons::Diagnostics::Logging::LogManager;

constexpr int UsageError = 2;

/// Whether standard error leads to the journal, as systemd says it.
bool IsJournalStream()
{
    // Read before any thread is started.
    const char* stream = std::getenv("JOURNAL_STREAM"); // NOLINT(concurrency-mt-unsafe)
    struct stat status = {};
    return stream != nullptr && fstat(STDERR_FILENO, &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

/// The process around the service.
class Daemon : private Loggable<Daemon>
{
public:
    /// Returns the exit code.
    [[nodiscard]] static int Check(const String& settingsPath)
    {
        LogManager::AddSink(LogManager::CreateConsoleSink());
        ServiceSettings settings;
        if (!TryLoad(settings, settingsPath))
        {
            return EXIT_FAILURE;
        }
        std::cout << settingsPath << ": ok" << std::endl;
        return EXIT_SUCCESS;
    }

    /// Returns the exit code.
    [[nodiscard]] static int Run(const String& settingsPath)
    {
        const auto console = LogManager::CreateConsoleSink();
        LogManager::AddSink(console);
        ServiceSettings settings;
        if (!TryLoad(settings, settingsPath))
        {
            return EXIT_FAILURE;
        }
        LogManager::SetLevel(settings.GetLogLevel());
        const LogSinkKind kind = settings.GetLogSink();
        if (kind == LogSinkKind::Journal || (kind == LogSinkKind::Automatic && IsJournalStream()))
        {
            LogManager::AddSink(LogManager::CreateJournalSink());
            LogManager::RemoveSink(console);
        }
        return Serve(settings);
    }

private:
    [[nodiscard]] static bool TryLoad(ServiceSettings& settings, const String& path)
    {
        try
        {
            settings.Load(path);
            return true;
        }
        catch (const std::exception&)
        {
            // The document has logged it.
            return false;
        }
    }

    [[nodiscard]] static int Serve(const ServiceSettings& settings)
    {
        try
        {
            EventLoop::BlockSignals();
            return UpdateService(settings, Version).Run();
        }
        catch (const std::exception& exception)
        {
            Log(LogLevel::Error, "The service cannot run. {0}", exception.what());
            return EXIT_FAILURE;
        }
    }
};

} // namespace

int main(int argumentCount, char** arguments)
{
    try
    {
        CLI::App app("Installs software updates through updater modules, and offers them on the system bus.",
                     UpdateService::ProcessName);
        String settingsPath = "/etc/zel-updated/settings.xml";
        app.add_option("--settings", settingsPath, "The settings document")->capture_default_str();
        String checkedPath;
        const CLI::Option* const check = app.add_option(
            "--check-config", checkedPath, "Check a settings document, say what is wrong, and end");
        app.set_version_flag("--version", Version);
        try
        {
            app.parse(argumentCount, arguments);
            // As from an unset variable of a script.
            if (check->count() > 0 && checkedPath.empty())
            {
                throw CLI::ValidationError("--check-config", "the name of the document is empty");
            }
        }
        catch (const CLI::ParseError& error)
        {
            return app.exit(error) == 0 ? EXIT_SUCCESS : UsageError;
        }
        return check->count() == 0 ? Daemon::Run(settingsPath) : Daemon::Check(checkedPath);
    }
    catch (const std::exception& exception)
    {
        std::cerr << UpdateService::ProcessName << ": " << exception.what() << std::endl;
        return EXIT_FAILURE;
    }
}
