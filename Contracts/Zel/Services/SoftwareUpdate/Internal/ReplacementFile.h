#pragma once

#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Loggable.h"
#include "Zel/System/Commons/Io/FileDescriptor.h"

namespace Zel::Services::SoftwareUpdate::Internal
{

/// A new file "{target}.copy" of mode 0640 that takes the target's name when it is complete. Whatever
/// happens, nothing but one file under the target's name is left when the object is destroyed: the new one
/// when it took the name and was not taken back, otherwise what was there before. Failures throw
/// `IoException`.
class ReplacementFile : private System::Commons::Diagnostics::Logging::Loggable<ReplacementFile>
{
public:
    /// Creates the file; a left-over one is replaced. A link is never followed.
    explicit ReplacementFile(const String& target);
    ~ReplacementFile();
    ReplacementFile(const ReplacementFile&) = delete;
    ReplacementFile& operator=(const ReplacementFile&) = delete;

    /// Open for writing.
    [[nodiscard]] const System::Commons::Io::FileDescriptor& GetFile() const noexcept;

    /// Gives the file the target's name in one step; `replace` lets it take the place of an earlier file.
    void TakeName(bool replace);

    /// Puts the earlier target, or none, back. Returns false when that is impossible, as after an exchange
    /// that the file system does not support; the new file then stays.
    [[nodiscard]] bool GiveNameBack() noexcept;

private:
    enum class Place
    {
        /// The new file under its own name.
        Beside,
        /// The new file at the target, nothing beside.
        Target,
        /// The new file at the target, the earlier one beside.
        Exchanged,
        /// The new file at the target, the earlier one lost.
        Replaced
    };

    void CheckIsMine() const;

    const String target;
    const String path;
    const System::Commons::Io::FileDescriptor file;
    Place place = Place::Beside;
};

} // namespace Zel::Services::SoftwareUpdate::Internal
