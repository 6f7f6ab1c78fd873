/// The process-wide order of alarm handlers: one at a time, first come first served.
///
/// A plain mutex would let a timer whose handler is always late take it again at once and shut the others out. And a
/// timer that is stopped while it waits leaves the queue, so that a handler can stop or destroy another timer.
#ifndef KIV_ALARMTURNS_H
#define KIV_ALARMTURNS_H

#include <atomic>
#include <cstdint>
#include <vector>

#include "QtSync.h"

namespace Kiv
{

class CAlarmTurns
{
public:
    /// The only one; never destroyed, since timers may run while the program exits.
    static CAlarmTurns& instance();

    /// Waits for the caller's turn, until pass(). False without a turn if `cancelled` (unless null) is or becomes true;
    /// who sets it calls wakeCancelled() then.
    bool take(const std::atomic<bool>* cancelled);

    /// Ends the turn.
    void pass();

    void wakeCancelled();

private:
    CPlainMutex lock;
    CSyncCondition changed;
    std::vector<std::uint64_t> queue; // the tickets; the first one has the turn
    std::uint64_t nextTicket = 0;
};

/// A turn for the time of a scope.
class CAlarmTurn
{
public:
    explicit CAlarmTurn(const std::atomic<bool>* cancelled) : taken(CAlarmTurns::instance().take(cancelled)) {}
    ~CAlarmTurn()
    {
        if (taken)
            CAlarmTurns::instance().pass();
    }
    CAlarmTurn(const CAlarmTurn&) = delete;
    CAlarmTurn& operator=(const CAlarmTurn&) = delete;

    explicit operator bool() const { return taken; }

private:
    const bool taken;
};

} // namespace Kiv

#endif
