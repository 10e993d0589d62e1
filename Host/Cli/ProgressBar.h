#pragma once

#include "Zel/String.h"

#include <cstddef>

namespace Zel::Host::Cli
{

/// Draws progress as one line of text.
class ProgressBar
{
public:
    /// Returns bar, percentage and text in at most `width` columns, for example
    /// "[#########-----------]  46 % Copying image to rootfs.1". In a narrow window the bar shrinks, then
    /// goes. `percent` is held within 0 to 100; `text` must be printable. With `colour` the filled part is
    /// green.
    [[nodiscard]] static String Render(int percent, const String& text, std::size_t width, bool colour);
};

} // namespace Zel::Host::Cli
