#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/LogLevel.h"
#include "Zel/System/Commons/Xml/IXmlSerializable.h"
#include "Zel/System/Commons/Xml/XmlReader.h"
#include "Zel/System/Commons/Xml/XmlSerializationContext.h"

#include <cstdint>
#include <vector>

namespace Zel::Host::Service
{

/// One updater module that the service loads.
struct ModuleSettings
{
    /// The shared library; absolute.
    String library;
    /// The module's name in the library's factory.
    String name;
    /// The module's own settings document; absolute.
    String settings;
};

/// Where log lines go.
enum class LogSinkKind
{
    /// The journal where standard error leads there, the console otherwise.
    Automatic,
    Console,
    Journal
};

/// The service's settings document. Relative paths in it are relative to its folder. An unknown element is
/// logged as a warning and skipped.
class ServiceSettings : public System::Commons::Xml::IXmlSerializable
{
public:
    using LogLevel = System::Commons::Diagnostics::Logging::LogLevel;
    using XmlReader = System::Commons::Xml::XmlReader;
    using XmlWriter = System::Commons::Xml::XmlWriter;
    using XmlSerializationContext = System::Commons::Xml::XmlSerializationContext;

    inline static const String XmlRootElement = "ZelUpdatedSettingsDocument";
    /// Required, once: the updater module, with the three elements after it, each required.
    inline static const String XmlModule = "Module";
    inline static const String XmlLibrary = "Library";
    inline static const String XmlName = "Name";
    inline static const String XmlSettings = "Settings";
    /// Required: the folder of the service's own files, status store and deliveries.
    inline static const String XmlDataFolder = "DataFolder";
    /// Required: the file of the device's facts, as `DeviceInfoFile` reads it.
    inline static const String XmlDeviceInfoFile = "DeviceInfoFile";
    /// Optional: the program that restarts the device, and its arguments, an `Argument` element each. Without
    /// it logind is asked.
    inline static const String XmlRestartCommand = "RestartCommand";
    inline static const String XmlArgument = "Argument";
    /// Optional: the file that holds the present boot's identity.
    inline static const String XmlBootIdFile = "BootIdFile";
    /// Optional: seconds within which a new version has to be confirmed; 0, the default, for none.
    inline static const String XmlConfirmationTimeout = "ConfirmationTimeout";
    /// Optional: the group whose members may change something where there is no polkit.
    inline static const String XmlAdministratorGroup = "AdministratorGroup";
    /// Optional: "error", "warning", "info" (the default), "debug" or "trace".
    inline static const String XmlLogLevel = "LogLevel";
    /// Optional: "console", "journal" or "automatic" (the default).
    inline static const String XmlLogSink = "LogSink";

    inline static const String DefaultBootIdFile = "/proc/sys/kernel/random/boot_id";

    ServiceSettings() = default;
    ~ServiceSettings() override;
    ServiceSettings(const ServiceSettings&) = delete;
    ServiceSettings& operator=(const ServiceSettings&) = delete;

    /// Reads the document at `path`. Throws `IoException` where it cannot be read and `XmlException`, with
    /// file and line, where it is not as it should be. To be called once.
    void Load(const String& path);

    [[nodiscard]] const std::vector<ModuleSettings>& GetModules() const noexcept { return modules; }

    [[nodiscard]] const String& GetDataFolder() const noexcept { return dataFolder; }

    [[nodiscard]] const String& GetDeviceInfoFile() const noexcept { return deviceInfoFile; }

    /// Empty where logind is to be asked.
    [[nodiscard]] const std::vector<String>& GetRestartCommand() const noexcept { return restartCommand; }

    [[nodiscard]] const String& GetBootIdFile() const noexcept { return bootIdFile; }

    /// Seconds; 0 for none.
    [[nodiscard]] std::uint32_t GetConfirmationTimeout() const noexcept { return confirmationTimeout; }

    /// Empty for none.
    [[nodiscard]] const String& GetAdministratorGroup() const noexcept { return administratorGroup; }

    [[nodiscard]] LogLevel GetLogLevel() const noexcept { return logLevel; }

    [[nodiscard]] LogSinkKind GetLogSink() const noexcept { return logSink; }

    void ReadXml(XmlReader& reader, XmlSerializationContext& context) override;
    /// Always throws `XmlException`: nothing writes such a document.
    void WriteXml(XmlWriter& writer, XmlSerializationContext& context) override;

private:
    [[nodiscard]] bool TryReadElement(const String& name, XmlReader& reader,
                                      const XmlSerializationContext& context);
    void ReadModule(XmlReader& reader, const XmlSerializationContext& context);
    void ReadRestartCommand(XmlReader& reader, const XmlSerializationContext& context);

    std::vector<ModuleSettings> modules;
    String dataFolder;
    String deviceInfoFile;
    std::vector<String> restartCommand;
    String bootIdFile = DefaultBootIdFile;
    std::uint32_t confirmationTimeout = 0;
    String administratorGroup;
    LogLevel logLevel = LogLevel::Info;
    LogSinkKind logSink = LogSinkKind::Automatic;
};

} // namespace Zel::Host::Service
