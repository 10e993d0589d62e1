#pragma once

#include "RaucUpdater/Internal/DesktopBus/DesktopBusField.h"
#include "Zel/String.h"

#include <span>

namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
{

/// What must be true of texts and values before libdbus sees them, because it ends the process otherwise.

/// Whether it is UTF-8 without a NUL.
[[nodiscard]] bool IsText(const String& text);

[[nodiscard]] bool IsBusName(const String& name);
[[nodiscard]] bool IsObjectPath(const String& path);
[[nodiscard]] bool IsInterfaceName(const String& name);
[[nodiscard]] bool IsMemberName(const String& name);

/// Whether `signature` is that of exactly one value.
[[nodiscard]] bool IsCompleteType(const String& signature);

/// Whether each of the fields, as far as it is written at all, is written with `signature`.
[[nodiscard]] bool HaveSignature(std::span<const DesktopBusField> fields, const String& signature);

} // namespace Zel::Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus
