#include "Service/RaucAnswer.h"

namespace Zel::Host::Service
{

const char* Describe(RaucState state)
{
    switch (state)
    {
    case RaucState::Busy:
        return "RAUC is busy.";
    case RaucState::Silent:
        return "RAUC does not answer.";
    case RaucState::Absent:
        return "RAUC is not running.";
    case RaucState::Resting:
        break;
    }
    return "RAUC answers.";
}

} // namespace Zel::Host::Service
