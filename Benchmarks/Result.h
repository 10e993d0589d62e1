#pragma once

#include "Zel/String.h"

#include <vector>

namespace Zel::Benchmarks
{

enum class Verdict
{
    Met,
    Missed,
    /// A number beside the others, without a goal.
    Shown,
    /// There is no number; `measured` says why. No goal is met by that.
    NotMeasured
};

/// One line of the table.
struct Result
{
    /// The row that it belongs to, for example "decode-2".
    String row;
    /// What the number is.
    String quantity;
    /// The number with its unit.
    String measured;
    /// The goal in words; empty for a number that is only shown.
    String goal;
    Verdict verdict = Verdict::Shown;
};

using Results = std::vector<Result>;

/// "3.14 x", judged as at most `limit`.
[[nodiscard]] Result AtMostTimes(const String& row, const String& quantity, double ratio, double limit);

/// The same, judged as below 1.
[[nodiscard]] Result Below(const String& row, const String& quantity, double ratio);

/// A number without a goal.
[[nodiscard]] Result Shown(const String& row, const String& quantity, const String& measured);

/// A number that was judged by its row.
[[nodiscard]] Result Judged(const String& row, const String& quantity, const String& measured,
                            const String& goal, bool isMet);

} // namespace Zel::Benchmarks
