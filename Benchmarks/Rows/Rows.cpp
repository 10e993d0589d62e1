#include "Rows/Rows.h"

namespace Zel::Benchmarks
{

namespace
{

[[nodiscard]] Row DecodeRow(std::size_t slots)
{
    return {"decode-" + std::to_string(slots),
            [slots](const String& row, const Effort& effort) { return MeasureDecode(row, slots, effort); }};
}

[[nodiscard]] Row InstallRow(std::uint64_t mebibytes)
{
    return {"install-" + std::to_string(mebibytes), [mebibytes](const String& row, const Effort& effort)
            { return MeasureInstall(row, mebibytes, effort); }};
}

[[nodiscard]] Row TransferRow(std::uint64_t mebibytes)
{
    return {"transfer-" + std::to_string(mebibytes), [mebibytes](const String& row, const Effort& effort)
            { return MeasureTransfer(row, mebibytes, effort); }};
}

} // namespace

std::vector<Row> GetRows()
{
    return {DecodeRow(2),
            DecodeRow(8),
            DecodeRow(13),
            {"decode-alloc", &MeasureDecodeAllocations},
            {"decode-limit", &MeasureDecodeLimit},
            {"log-off", &MeasureLogOff},
            {"call", &MeasureCall},
            {"no-lost-reply", &MeasureNoLostReply},
            {"status-cached", &MeasureStatusCached},
            InstallRow(1),
            InstallRow(64),
            InstallRow(512),
            TransferRow(64),
            TransferRow(256),
            TransferRow(1024),
            {"readers", &MeasureReaders},
            {"size", &MeasureSize}};
}

} // namespace Zel::Benchmarks
