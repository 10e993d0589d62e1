#pragma once

#include "Effort.h"
#include "Result.h"

#include <functional>
#include <vector>

namespace Zel::Benchmarks
{

/// \name What the rows measure. Each runs in a process of its own, throws when it cannot be measured, and
/// names its results `row`.
///@{

/// A reply of "GetSlotStatus" with `slots` slots to the records by name, beside four other libraries.
[[nodiscard]] Results MeasureDecode(const String& row, std::size_t slots, const Effort& effort);

/// What decoding two slots allocates.
[[nodiscard]] Results MeasureDecodeAllocations(const String& row, const Effort& effort);

/// What replies cost that hold more than is read.
[[nodiscard]] Results MeasureDecodeLimit(const String& row, const Effort& effort);

/// A log call whose level is off.
[[nodiscard]] Results MeasureLogOff(const String& row, const Effort& effort);

/// "Get" of a property over a private bus, beside libdbus alone and GDBus.
[[nodiscard]] Results MeasureCall(const String& row, const Effort& effort);

/// Four callers and a listener that never rests.
[[nodiscard]] Results MeasureNoLostReply(const String& row, const Effort& effort);

/// The pending bundle's version when it is known.
[[nodiscard]] Results MeasureStatusCached(const String& row, const Effort& effort);

/// An installation of an image of `mebibytes` by the real RAUC, beside its own command line.
[[nodiscard]] Results MeasureInstall(const String& row, std::uint64_t mebibytes, const Effort& effort);

/// The move of a file of `mebibytes` to another file system, beside cp and sync.
[[nodiscard]] Results MeasureTransfer(const String& row, std::uint64_t mebibytes, const Effort& effort);

/// Fifty clients that read from the service during an installation.
[[nodiscard]] Results MeasureReaders(const String& row, const Effort& effort);

/// The library as it is shipped.
[[nodiscard]] Results MeasureSize(const String& row, const Effort& effort);

///@}

struct Row
{
    String name;
    std::function<Results(const String& row, const Effort& effort)> measure;
};

/// All rows in the order of the table.
[[nodiscard]] std::vector<Row> GetRows();

} // namespace Zel::Benchmarks
