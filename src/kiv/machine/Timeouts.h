/// The time-outs of a machine that are armed: of the active states, as long as they have not fired; private.
#ifndef KIV_TIMEOUTS_H
#define KIV_TIMEOUTS_H

#include <chrono>
#include <cstddef>
#include <vector>

#include <kiv/Transition.h>

namespace Kiv
{

/// There are few, so they stand in a list; the first one to come is at hand.
class CTimeouts
{
public:
    /// Room for so many, so that none is made while the machine runs.
    void reserve(std::size_t total) { armed.reserve(total); }

    void arm(CTransition& transition);
    void disarm(const CTransition& transition);

    /// Takes the first that is due at `now` out; null if there is none.
    CTransition* takeDue(std::chrono::nanoseconds now);

    /// When the next one is due; nanoseconds::max() for never.
    std::chrono::nanoseconds next() const { return nextDue; }

private:
    void findNext();

    std::vector<CTransition*> armed;
    std::chrono::nanoseconds nextDue = std::chrono::nanoseconds::max();
};

} // namespace Kiv

#endif
