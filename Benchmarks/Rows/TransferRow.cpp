#include "Rows/Rows.h"

#include "Comparison.h"
#include "Program.h"
#include "Support/TemporaryFolder.h"
#include "Zel/Exception.h"
#include "Zel/Services/SoftwareUpdate/FileUtils.h"
#include "Zel/System/Core/Format.h"

#include <sched.h>
#include <sys/mount.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace Zel::Benchmarks
{

using Services::SoftwareUpdate::FileUtils;
using System::Core::Format;
using Tests::Support::TemporaryFolder;

namespace
{

/// What is mounted is seen by this process and its children only, and goes with it.
void HideMounts()
{
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    {
        throw Exception("Mounting needs root");
    }
}

void RequireSpace(const String& folder, std::uint64_t mebibytes)
{
    const auto space = std::filesystem::space(folder);
    if (space.available >> 20 < mebibytes)
    {
        throw Exception(Format("'{0}' has less than {1} MiB free", folder, mebibytes));
    }
}

/// A file system of its own in an image file whose blocks were all written before.
class LoopMount
{
public:
    LoopMount(const String& parent, std::uint64_t mebibytes) : folder(parent)
    {
        const auto image = folder / "image";
        RunProgram({"dd", "if=/dev/zero", "of=" + image, "bs=1M", "count=" + std::to_string(mebibytes)});
        RunProgram({"mkfs.ext4", "-q", "-E", "nodiscard,lazy_itable_init=0,lazy_journal_init=0", image});
        std::filesystem::create_directory(point);
        RunProgram({"mount", "-o", "loop", image, point});
    }

    ~LoopMount() { static_cast<void>(::umount2(point.c_str(), MNT_DETACH)); }

    LoopMount(const LoopMount&) = delete;
    LoopMount& operator=(const LoopMount&) = delete;

    [[nodiscard]] String operator/(const String& name) const { return point + "/" + name; }

private:
    const TemporaryFolder folder;
    const String point = folder / "mounted";
};

/// One file, moved over and over from one file system to another.
class Transfer
{
public:
    Transfer(const String& folder, std::uint64_t mebibytes)
        : from(folder, GetImageSize(mebibytes)), to(folder, GetImageSize(mebibytes))
    {
        RunProgram({"dd", "if=/dev/urandom", "of=" + kept, "bs=1M", "count=" + std::to_string(mebibytes)});
    }

    /// The move deletes its source, so it gets one more name of the file.
    void Prepare() const
    {
        std::filesystem::remove(target);
        std::filesystem::remove(source);
        std::filesystem::create_hard_link(kept, source);
        RunProgram({"sync", "-f", kept});
        RunProgram({"sync", "-f", to / "."});
    }

    void Move() const { FileUtils::RenameOrCopyDelete(source, target, false, true); }

    void CopyAndSync() const
    {
        RunProgram({"cp", source, target});
        RunProgram({"sync", target});
    }

private:
    /// Room for the file, and for the rest of a file system; in MiB.
    [[nodiscard]] static std::uint64_t GetImageSize(std::uint64_t mebibytes)
    {
        return mebibytes + mebibytes / 4 + 64;
    }

    const LoopMount from;
    const LoopMount to;
    const String kept = from / "kept";
    const String source = from / "source";
    const String target = to / "target";
};

/// Returns a size of this process in KiB, for example "VmHWM", its largest one.
[[nodiscard]] long ReadMemory(const String& name)
{
    std::ifstream status("/proc/self/status");
    for (String line; std::getline(status, line);)
    {
        if (line.starts_with(name + ":"))
        {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    throw Exception("The kernel does not tell " + name);
}

/// Returns how many KiB the process grows by while it moves the file.
[[nodiscard]] long MeasureMemory(const Transfer& transfer)
{
    transfer.Prepare();
    std::ofstream("/proc/self/clear_refs") << "5";
    const long before = ReadMemory("VmRSS");
    transfer.Move();
    return ReadMemory("VmHWM") - before;
}

} // namespace

Results MeasureTransfer(const String& row, std::uint64_t mebibytes, const Effort& effort)
{
    constexpr long MemoryLimit = 4096;
    constexpr double NanosecondsPerSecond = 1e9;
    RequireSpace(effort.folder, mebibytes * 3);
    HideMounts();
    const Transfer transfer(effort.folder, mebibytes);
    const long memory = MeasureMemory(transfer);
    const auto prepare = [&transfer] { transfer.Prepare(); };
    const auto medians = CompareElapsedTime({{"own", [&transfer] { transfer.Move(); }, prepare},
                                             {"cp, sync", [&transfer] { transfer.CopyAndSync(); }, prepare}},
                                            effort);
    const double size = static_cast<double>(mebibytes);
    return {AtMostTimes(row, "own / cp + sync", medians[0] / medians[1], 1.0),
            Judged(row, "own memory", Format("{0} KiB", memory), "at most 4096 KiB", memory <= MemoryLimit),
            Shown(row, "own, cp + sync",
                  Format("{0:.0f}, {1:.0f} MiB/s", size * NanosecondsPerSecond / medians[0],
                         size * NanosecondsPerSecond / medians[1]))};
}

} // namespace Zel::Benchmarks
