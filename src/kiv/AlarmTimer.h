/// A timer that calls back from a thread of its own, periodically or a given number of times, without drift.
#ifndef KIV_ALARMTIMER_H
#define KIV_ALARMTIMER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <kiv/Callback.h>
#include <kiv/RealTime.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CAlarmTimer;
class CAlarmTimerPrivate;

/// Receives the alarms of the timers that it was given to.
class KIV_API IAlarmHandler
{
public:
    /// Called on the timer's thread at each alarm; true lets the timer go on, false ends it.
    virtual bool onAlarm(CAlarmTimer* timer) = 0;

    virtual ~IAlarmHandler();
};

/// Has no state and no behaviour; timers take one for the sake of programs that pass one.
class KIV_API CAlarmTimerManager
{
public:
    virtual ~CAlarmTimerManager();
};

/// Calls a handler every `interval` milliseconds, a fixed number of times or without end.
///
/// Each started timer has a thread of its own; for a deadline that its owner asks about now and then, CPollingTimer is
/// enough. An alarm goes to the handler, or without one to the callback, or without both nowhere; a subclass may
/// override alarm() instead.
///
/// - Schedule: the alarms of a run are due at t0 + I, t0 + 2 I, ... where t0 is the time of start(); never earlier, and
///   lateness does not add up. Alarms that fall due while a handler runs follow it back to back until the schedule is
///   caught up. A new interval counts from the next deadline on. Interval 0 gives the next alarm as soon as the handler
///   has returned, which keeps a processor busy.
/// - One at a time: all alarm handlers of the process take turns, in the order in which they came to it. A slow
///   handler delays every other timer's alarm, and one that never returns stops them all.
///   Priorities change nothing about the order: a real-time timer waits for the handler of an ordinary one that came
///   first, and only for that long is it not in time. takeTurns(false) frees a timer from all others.
/// - What a handler may call: everything of its own timer and of others, destroying them included; only alarm() would
///   wait for itself for ever. An exception that leaves a handler ends the process.
///
/// | state   | start()                                              | stop()                                         |
/// |---------|------------------------------------------------------|------------------------------------------------|
/// | idle    | counts anew; the first alarm comes after an interval | nothing                                        |
/// | running | moves the next alarm to now + interval, keeps count  | no further alarm; waits up to 100 ms, see stop |
///
/// A running timer becomes idle by stop(), by a handler that returns false, and after the last alarm of its count.
/// While the last alarm is being handled, start() still finds it running and adds no alarm; setCycleCount() does.
///
/// Every step is logged on the logger "AlarmTimerLogger": start, stop and end at INFO, each alarm at TRACE. Nothing is
/// logged until a property file gives it or the root logger an appender: Diag::initDefaultConfig() gives none. Alarms
/// wait for a log that stands, such as one whose pipe is full; stop() and the destructor do not, see Diag.
///
/// Threads: safe from any thread, handlers included, except construction and destruction.
/// Errors: none reported. If the system refuses a thread, that is logged and the timer stays idle.
/// Units: milliseconds, on the monotonic clock.
class KIV_API CAlarmTimer
{
public:
    /// An idle timer named "AlarmTimer 0", "AlarmTimer 1", ... as counted in the process. `cycleCount` is the number of
    /// alarms of a run, 0 for no end. The handler stays the caller's and is there while the timer runs. `manager` is
    /// ignored.
    explicit CAlarmTimer(unsigned int interval, unsigned int cycleCount = 0, IAlarmHandler* handler = nullptr,
                         CAlarmTimerManager* manager = nullptr);
    CAlarmTimer(const CAlarmTimer&) = delete;
    CAlarmTimer& operator=(const CAlarmTimer&) = delete;

    /// Stops as stop() does. A subclass that overrides alarm() calls stop() in its own destructor, while it is whole.
    virtual ~CAlarmTimer();

    /// Gives the first alarm an interval from now, or moves the next one there; see the table.
    virtual void start();

    /// Ends the run; no handler begins any more. A handler that waits for room in a machine's queue waits no longer:
    /// its event is dropped, so that a hook of that machine may stop the timer. Waits up to 100 ms for a handler that
    /// is running. One that takes longer is terminated at its next cancellation point, as the body of a CThread is;
    /// that is logged, and stop() goes on without it. What such a handler uses must outlive it. A log that stands takes
    /// part of the 100 ms, not more, and may cost the records. Called by the timer's own handler, stop() returns at
    /// once and the run ends with the handler. Always 0.
    ///
    /// A handler that is terminated while it writes to a std stream, as log4cplus's console appender does, leaves that
    /// stream failed, and nothing more is shown there.
    virtual std::uint32_t stop();

    /// What the timer's thread calls at each alarm: waits for its turn among the alarms of all timers and calls the
    /// handler, else the callback. True lets the timer go on. Called by the application it does the same on the calling
    /// thread; from a handler it would wait for ever.
    virtual bool alarm();

    /// Made empty, it calls nobody from the next alarm on.
    void setAlarmCallback(const cb::Callback0<bool>& callback);

    /// True from start() until the run has ended completely, the last handler included.
    bool isStarted() const;

    /// As set last, in milliseconds.
    unsigned int getInterval() const;

    /// Counts from the next deadline on; the wait in progress is not shortened.
    void setInterval(unsigned int interval);

    /// Sets the number of alarms of a run, 0 for no end; a running timer counts anew from here.
    void setCycleCount(unsigned int count);

    /// With false, the handler of this timer takes no turns with those of others: it runs when it is due, perhaps at
    /// the same time as theirs, so they share no data without a lock. It still never runs twice at a time. Takes effect
    /// from the next alarm on.
    void takeTurns(bool turns);
    bool takesTurns() const;

    /// Runs the timer's thread under a real-time policy or on some processors only, see CThread, which says the codes;
    /// from now on if it runs, and in every later run.
    int setRealTimePriority(eRealTimePolicy policy, int priority);
    int setProcessors(const std::vector<unsigned int>& processors);

    /// What the thread of the present run has; false and 0 while there is none.
    bool isRealTime() const;
    int realTimePriority() const;

    /// A flag for the application; the timer itself does not look at it.
    void enableDebug(bool enable);
    bool isDebugEnabled() const;

    /// Does nothing.
    void printDebugState() const;

    /// The name shows in the log and, from the next start() on, as the name of the timer's thread (its first 15 bytes).
    void setName(const std::string& name);
    std::string name() const;

    /// A new manager; the caller deletes it.
    static CAlarmTimerManager* createTimerManager();

private:
    std::shared_ptr<CAlarmTimerPrivate> d;
};

} // namespace Kiv

#endif
