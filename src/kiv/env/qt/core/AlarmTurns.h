/// The order of alarm handlers, as a rule of all in the process: one at a time, first come first served.
///
/// A plain mutex would let a timer whose handler is always late take it again at once and shut the others out. And a
/// timer that is stopped while it waits leaves the queue, so that a handler can stop or destroy another timer.
#ifndef KIV_ALARMTURNS_H
#define KIV_ALARMTURNS_H

#include <atomic>

#include "kiv/env/qt/core/QtSync.h"

namespace Kiv
{

/// Waiting allocates nothing, since what a handler that ends in bad_alloc would end is the process.
class CAlarmTurns
{
public:
    /// A place in the queue, on the stack of who waits there.
    struct Place
    {
        Place* next = nullptr;
    };

    /// That of all timers but those which take no turns with others; never destroyed, since timers may run while the
    /// program exits.
    static CAlarmTurns& instance();

    /// Waits for the caller's turn, until pass(). False without a turn if `cancelled` (unless null) is or becomes true;
    /// who sets it calls wakeCancelled() then. With a turn, `place` has to last until pass().
    bool take(Place& place, const std::atomic<bool>* cancelled);

    /// Ends the turn.
    void pass();

    void wakeCancelled();

private:
    void leave(const Place& place) KIV_REQUIRES(lock);

    CPlainMutex lock;
    CSyncCondition changed;
    Place* first KIV_GUARDED_BY(lock) = nullptr; // has the turn
    Place* last KIV_GUARDED_BY(lock) = nullptr;
};

/// A turn for the time of a scope.
class CAlarmTurn
{
public:
    CAlarmTurn(CAlarmTurns& order, const std::atomic<bool>* cancelled)
        : turns(order), taken(turns.take(place, cancelled))
    {}
    ~CAlarmTurn()
    {
        if (taken)
            turns.pass();
    }
    CAlarmTurn(const CAlarmTurn&) = delete;
    CAlarmTurn& operator=(const CAlarmTurn&) = delete;

    explicit operator bool() const { return taken; }

private:
    CAlarmTurns& turns;
    CAlarmTurns::Place place;
    const bool taken;
};

} // namespace Kiv

#endif
