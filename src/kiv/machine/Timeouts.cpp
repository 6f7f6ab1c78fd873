#include "kiv/machine/Timeouts.h"

#include <algorithm>

#include <kiv/Deadline.h>

#include "kiv/machine/TransitionDetails.h"

namespace Kiv
{

void CTimeouts::arm(CTransition& transition)
{
    disarm(transition);
    transition.details->due = CDeadline::in(*transition.details->timeout).instant();
    armed.push_back(&transition);
    nextDue = std::min(nextDue, transition.details->due);
}

void CTimeouts::disarm(const CTransition& transition)
{
    const auto place = std::find(armed.begin(), armed.end(), &transition);
    if (place == armed.end())
        return;
    armed.erase(place);
    findNext();
}

CTransition* CTimeouts::takeDue(std::chrono::nanoseconds now)
{
    if (nextDue > now)
        return nullptr;
    const auto isFirst = [this](const CTransition* each) { return each->details->due == nextDue; };
    CTransition* const due = *std::find_if(armed.begin(), armed.end(), isFirst);
    disarm(*due);
    return due;
}

void CTimeouts::findNext()
{
    nextDue = std::chrono::nanoseconds::max();
    for (const CTransition* each : armed)
        nextDue = std::min(nextDue, each->details->due);
}

} // namespace Kiv
