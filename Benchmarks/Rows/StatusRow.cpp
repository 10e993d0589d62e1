#include "Rows/Rows.h"

#include "Comparison.h"
#include "RaucUpdater/Internal/VersionManager.h"
#include "Support/ModulePlatform.h"
#include "Support/ScriptedRauc.h"
#include "Zel/Exception.h"
#include "Zel/System/Commons/Xml/XmlConfigDocument.h"
#include "Zel/System/Core/Format.h"

#include <sys/stat.h>

#include <cmath>
#include <filesystem>

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::VersionManager;
using Services::SoftwareUpdate::ResultCode;
using Services::SoftwareUpdate::SoftwareVersionFileType;
using System::Core::Format;
using Tests::Support::ModulePlatform;
using Tests::Support::ScriptedRauc;

namespace
{

/// A version manager whose pending bundle, of a given size in bytes, was read once.
class KnownBundle
{
public:
    KnownBundle(const ModulePlatform& platform, ScriptedRauc& rauc, const String& name, std::uint64_t size)
        : path(platform.folder.Write(name + ".raucb", "bundle"))
    {
        std::filesystem::resize_file(path, size);
        rauc->bundles[path] = {"Controller", "2.0.0.0"};
        VersionManager::RaucUpdaterSettings settings;
        System::Commons::Xml::XmlConfigDocument(settings.XmlRootElement, settings)
            .Load(platform.folder.Write(name + ".xml", "<RaucUpdaterSettingsDocument><PendingUpdatePath>" +
                                                           name +
                                                           ".raucb</PendingUpdatePath><ManufacturerUri/>"
                                                           "</RaucUpdaterSettingsDocument>"));
        const auto bus = std::make_shared<VersionManager::DesktopBusManager>();
        if (!bus->Open())
        {
            throw Exception("There is no bus");
        }
        manager.Initialize(platform.status, bus, platform.deviceInfo, settings);
        Ask();
    }

    void Ask()
    {
        VersionManager::SoftwareVersionType version;
        if (manager.GetSoftwareVersion(SoftwareVersionFileType::Pending, version) != ResultCode::Ok)
        {
            throw Exception("The pending version is unknown");
        }
    }

    [[nodiscard]] const String& GetPath() const noexcept { return path; }

private:
    const String path;
    VersionManager manager;
};

void AskFileSystem(const String& path)
{
    for (int call = 0; call < 3; ++call)
    {
        struct stat status = {};
        if (::stat(path.c_str(), &status) != 0)
        {
            throw Exception("The bundle is gone");
        }
    }
}

} // namespace

Results MeasureStatusCached(const String& row, const Effort& effort)
{
    constexpr double FlatWithin = 0.1;
    const ModulePlatform platform;
    ScriptedRauc rauc;
    KnownBundle small(platform, rauc, "small", std::uint64_t{1} << 20);
    KnownBundle large(platform, rauc, "large", std::uint64_t{1} << 30);
    rauc->calls.clear();
    const auto medians = CompareProcessorTime({{"small", [&small] { small.Ask(); }},
                                               {"large", [&large] { large.Ask(); }},
                                               {"stat", [&small] { AskFileSystem(small.GetPath()); }}},
                                              effort);
    const auto messages = rauc->calls.size();
    const double growth = medians[1] / medians[0];
    return {AtMostTimes(row, "own / three stat calls", medians[0] / medians[2], 5.0),
            Judged(row, "D-Bus messages", std::to_string(messages), "none", messages == 0),
            Judged(row, "bundle of 1 GiB / of 1 MiB", Format("{0:.2f} x", growth), "1 x, within 0.1",
                   std::abs(growth - 1) <= FlatWithin),
            Shown(row, "own, three stat calls",
                  Format("{0:.1f}, {1:.1f} us", medians[0] / 1000, medians[2] / 1000))};
}

} // namespace Zel::Benchmarks
