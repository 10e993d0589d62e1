#include "Rows/Rows.h"

#include "Allocations.h"
#include "Comparison.h"
#include "Decoders/Decoders.h"
#include "RaucUpdater/Internal/DesktopBus/RaucGetSlotStatusMethod.h"
#include "Support/PrivateBus.h"
#include "Zel/Exception.h"
#include "Zel/System/Core/Format.h"

#include <algorithm>

namespace Zel::Benchmarks
{

using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::DesktopBusMessage;
using Services::Modules::SoftwareUpdate::RaucUpdater::Internal::DesktopBus::RaucGetSlotStatusMethod;
using System::Core::Format;
using Tests::Support::PrivateBus;

namespace
{

/// A reply in memory and its way through the module's own classes.
class OwnDecoder
{
public:
    explicit OwnDecoder(const SlotRecords& slots) : reply(MakeLibdbusReply(slots)) {}

    void operator()()
    {
        RaucGetSlotStatusMethod method;
        Read(method);
    }

    void Read(RaucGetSlotStatusMethod& method)
    {
        // A reply with more than is read gives the slots that were read whole, and false.
        static_cast<void>(method.ReadMessage(reply));
    }

private:
    DesktopBusMessage reply;
};

void Require(bool isSame, const char* decoder)
{
    if (!isSame)
    {
        throw Exception(String(decoder) + " does not read what was written");
    }
}

/// Times mean nothing for a decoder that reads something else.
void RequireSame(OwnDecoder& own, const SlotRecords& expected)
{
    RaucGetSlotStatusMethod method;
    own.Read(method);
    const auto& read = method.GetSlotStatus();
    Require(read.size() == expected.size() &&
                std::ranges::equal(read, expected,
                                   [](const auto& left, const auto& right)
                                   {
                                       return left.first == right.first &&
                                              left.second.GetSize() == right.second.size &&
                                              left.second.GetSha256() == right.second.sha256 &&
                                              left.second.GetDevice() == right.second.device &&
                                              left.second.GetStatus() == right.second.status;
                                   }),
            "The module");
}

[[nodiscard]] Contender MakePeer(const char* name, const Decoder& decode, const SlotRecords& expected)
{
    Require(decode() == expected, name);
    return {name, [decode] { static_cast<void>(decode()); }};
}

[[nodiscard]] String Microseconds(double nanoseconds)
{
    return Format("{0:.1f} us", nanoseconds / 1000);
}

} // namespace

Results MeasureDecode(const String& row, std::size_t slots, const Effort& effort)
{
    static_cast<void>(PrivateBus::OfProcess());
    const auto expected = MakeSlots(slots);
    OwnDecoder own(expected);
    RequireSame(own, expected);
    const auto medians = CompareProcessorTime({{"own", [&own] { own(); }},
                                               MakePeer("libdbus", MakeLibdbusDecoder(expected), expected),
                                               MakePeer("sdbus-c++", MakeSdBusCppDecoder(expected), expected),
                                               MakePeer("GVariant", MakeGVariantDecoder(expected), expected),
                                               MakePeer("sd-bus", MakeSdBusDecoder(expected), expected)},
                                              effort);
    const double ours = medians[0];
    const double raw = medians[1];
    return {AtMostTimes(row, "own / raw libdbus", ours / raw, 4.0),
            Below(row, "own / sdbus-c++", ours / medians[2]),
            Shown(row, "sdbus-c++ / raw libdbus", Format("{0:.2f} x", medians[2] / raw)),
            Shown(row, "GVariant / raw libdbus", Format("{0:.2f} x", medians[3] / raw)),
            Shown(row, "sd-bus / raw libdbus", Format("{0:.2f} x", medians[4] / raw)),
            Shown(row, "own, raw libdbus", Microseconds(ours) + ", " + Microseconds(raw))};
}

Results MeasureDecodeAllocations(const String& row, const Effort& /*effort*/)
{
    constexpr std::uint64_t Limit = 600;
    OwnDecoder own(MakeSlots(2));
    // The first one also makes what the process keeps, such as loggers.
    own();
    const auto count = CountAllocations([&own] { own(); });
    return {Judged(row, "allocations for 2 slots", std::to_string(count), "at most 600", count <= Limit)};
}

Results MeasureDecodeLimit(const String& row, const Effort& effort)
{
    OwnDecoder whole(MakeSlots(13));
    OwnDecoder cut(MakeSlots(64));
    OwnDecoder cutEarly(MakeSlots(1000));
    const auto medians = CompareProcessorTime(
        {{"13", [&whole] { whole(); }}, {"64", [&cut] { cut(); }}, {"1000", [&cutEarly] { cutEarly(); }}},
        effort);
    return {AtMostTimes(row, "64 slots / 13 slots", medians[1] / medians[0], 1.3),
            AtMostTimes(row, "1000 slots / 13 slots", medians[2] / medians[0], 1.3)};
}

} // namespace Zel::Benchmarks
