#pragma once

#include "Zel/Visibility.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Zel
{

/// The platform's text type: UTF-8 bytes, owned, compared by length and bytes.
template <typename Character>
using BasicString = std::basic_string<Character>;

using String = BasicString<char>;

/// Returns `text` with every byte lower-cased on its own by the global locale's `tolower`.
[[nodiscard]] ZEL_API String ToLower(const String& text);

/// Returns the texts in order with `separator` between two of them; empty for an empty list.
[[nodiscard]] ZEL_API String Join(const std::vector<String>& texts, const String& separator);

/// Returns the longest prefix of `text` that has at most `maximumBytes` bytes and does not end inside a UTF-8
/// sequence.
[[nodiscard]] ZEL_API String Truncate(const String& text, std::size_t maximumBytes);

} // namespace Zel
