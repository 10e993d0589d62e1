#pragma once

#include "Decoders/SlotRecord.h"

#include <functional>

struct DBusMessage;

namespace Zel::Benchmarks
{

/// Reads the reply that it was made with, from its first byte, each time.
using Decoder = std::function<SlotRecords()>;

/// Returns a "GetSlotStatus" reply in memory with these slots; the caller owns the reference.
[[nodiscard]] DBusMessage* MakeLibdbusReply(const SlotRecords& slots);

/// \name The same reply in the form of each library, read by the library's own means. All but the first need
/// a system bus, to which nothing is sent.
///@{
[[nodiscard]] Decoder MakeLibdbusDecoder(const SlotRecords& slots);
[[nodiscard]] Decoder MakeSdBusDecoder(const SlotRecords& slots);
[[nodiscard]] Decoder MakeSdBusCppDecoder(const SlotRecords& slots);
[[nodiscard]] Decoder MakeGVariantDecoder(const SlotRecords& slots);
///@}

} // namespace Zel::Benchmarks
