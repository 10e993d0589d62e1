#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "Zel/String.h"
#include "Zel/System/Commons/Diagnostics/Logging/Logger.h"
#include "Zel/System/Core/Format.h"

#include <cstddef>
#include <span>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// Reads single values out of one list of fields for a class, and logs at error level, in that class's log
/// and with the text form of the whole list, what it cannot read. Borrows both.
class DesktopBusFieldReader
{
public:
    /// A text with one placeholder, for the list.
    using FailureText = System::Core::FormatText<String>;

    using Logger = System::Commons::Diagnostics::Logging::Logger;

    DesktopBusFieldReader(const Logger& logger, std::span<const DesktopBusField> fields) noexcept;

    /// Returns the field at `index`, null when there are fewer. A member's reader for a null list is null
    /// too.
    [[nodiscard]] const DesktopBusField* At(std::size_t index) const noexcept { return At(&fields, index); }

    template <typename List>
    [[nodiscard]] static const DesktopBusField* At(const List* list, std::size_t index) noexcept
    {
        return list != nullptr && index < list->size() ? &(*list)[index] : nullptr;
    }

    /// Reads `field` into `content` by one of its `TryGet*` readers. When it is null or of another type, logs
    /// `failureText`, leaves `content` alone and returns false.
    template <typename Content>
    [[nodiscard]] bool Read(const DesktopBusField* field, bool (DesktopBusField::*tryGet)(Content&) const,
                            Content& content, FailureText failureText) const
    {
        return (field != nullptr && (field->*tryGet)(content)) || Fail(failureText);
    }

    /// Logs `failureText` and returns false.
    bool Fail(FailureText failureText) const;

private:
    const Logger& logger;
    std::span<const DesktopBusField> fields;
};

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
