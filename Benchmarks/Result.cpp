#include "Result.h"

#include "Zel/System/Core/Format.h"

namespace Zel::Benchmarks
{

using System::Core::Format;

Result AtMostTimes(const String& row, const String& quantity, double ratio, double limit)
{
    return Judged(row, quantity, Format("{0:.2f} x", ratio), Format("at most {0:.1f} x", limit),
                  ratio <= limit);
}

Result Below(const String& row, const String& quantity, double ratio)
{
    return Judged(row, quantity, Format("{0:.2f} x", ratio), "below 1 x", ratio < 1.0);
}

Result Shown(const String& row, const String& quantity, const String& measured)
{
    return {row, quantity, measured, "", Verdict::Shown};
}

Result Judged(const String& row, const String& quantity, const String& measured, const String& goal,
              bool isMet)
{
    return {row, quantity, measured, goal, isMet ? Verdict::Met : Verdict::Missed};
}

} // namespace Zel::Benchmarks
