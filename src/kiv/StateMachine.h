/// The state machine: the root of a state tree, its event queue and, if wanted, a thread of its own.
#ifndef KIV_STATEMACHINE_H
#define KIV_STATEMACHINE_H

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <kiv/Callback.h>
#include <kiv/Deadline.h>
#include <kiv/EventValue.h>
#include <kiv/RealTime.h>
#include <kiv/State.h>
#include <kiv/kiv_export.h>
#include <kiv/sigslot.h>

namespace Kiv
{

class CTransition;
class StateMachinePrivate;

/// Drives a tree of states by events with numbers from 0 to 255, and by transitions that queue themselves.
///
/// Build it once: construct the states under the machine, set the machine's initial state, add transitions, set the
/// log callback; then start(). At most 64 events and queued transitions wait at a time, or as many as the constructor
/// is given, in a ring that is allocated with the machine: posting and dispatching allocate nothing.
///
/// Dispatch in order (the default): an event fires every transition that was registered for its number, in the order of
/// registration. Each is tested against its own source when its turn comes, so one transition's outcome can make a
/// later one of the same event fire or be refused; transitions of parallel states all fire.
///
/// Dispatch as drawn (setDispatch()): in each active region the event fires one transition, that of the innermost
/// active state which has one that its guard allows; outer states are asked only if no inner one has taken the event,
/// and of one state the transition that was registered first. What fires is decided before anything moves, then the
/// regions follow each other in the order of adding; a region that an earlier one has left has lost its turn.
///
///                  | synchronous                       | asynchronous
///   ---------------+-----------------------------------+-----------------------------------------------------------
///   process()      | the application calls it: handles | the worker thread "TinySimpleFSMThread" calls it again
///                  | all that is queued, then makes    | and again: handles what is queued, makes a processing pass
///                  | one processing pass               | after 100 ms without events, and every 100 ms while idle
///   full queue     | drops a new event at once         | a poster waits up to 100 ms for room, then drops it; on
///                  |                                   | the worker thread itself, which cannot wait for itself,
///                  |                                   | and in the handler of an alarm timer that is being stopped,
///                  |                                   | perhaps by a hook on the worker, it is dropped at once
///   hooks, signals | on the caller's thread of         | on the worker thread; those of start() and stop() on the
///                  | process()                         | caller's
///
///   state    | start()                       | stop()                        | process() by the application
///   ---------+-------------------------------+-------------------------------+-----------------------------
///   stopped  | enters the initial state      | nothing                       | handles the queue, no pass
///   started  | synchronous: enters it again; | leaves the active state,      | synchronous machines only
///            | asynchronous: nothing         | synchronous: events stay      |
///            |                               | queued; asynchronous: below   |
///
/// Threads: postEvent() with ProcessingAsync, queued triggers, pendingEvents(), droppedEvents(), isAsync() and the
/// states' isActive() from any thread. start(), stop() and destruction by one thread at a time, for an asynchronous
/// machine not its worker, whose hooks may call stop() nevertheless. All else on the processing thread, or before
/// start(). Nobody posts any more when the machine is destroyed.
/// Errors: none is returned. A dropped event is counted by droppedEvents(); an event without transition is ignored. An
/// exception from a hook or receiver leaves process() of a synchronous machine with the event consumed and the states
/// as far as they had come, which start() does not put right; on the worker thread it ends the process.
class KIV_API CStateMachine : public CState
{
public:
    /// Who processes the machine, and for postEvent() when.
    enum eProcessingType : int
    {
        ProcessingSync = 0, ///< the application, by process(); an event: at once
        ProcessingAsync = 1 ///< a worker thread; an event: through the queue
    };

    /// Which of the transitions of an event fire, see above.
    enum eDispatch : int
    {
        DispatchInOrder = 0, ///< all whose source is active, in the order of registration
        DispatchAsDrawn = 1  ///< the innermost one in each region
    };

    /// The state is named "Statemachine". No thread is started before start().
    explicit CStateMachine(eProcessingType type = ProcessingSync);

    /// With room for another number of events than 64: 1 to 65535, and 1 for 0. mostPendingEvents() tells what is
    /// needed.
    CStateMachine(eProcessingType type, unsigned short queueSize);

    /// Ends the worker thread before anything that it uses goes, waiting for a hook in progress as long as that takes;
    /// while the process exits, five seconds: then it ends at once, with the status that exit() was given and a line on
    /// standard error, without destroying the static objects that are left. A worker that has not begun within a
    /// second, since its first log record finds nobody who takes it, is not waited for and never begins.
    ///
    /// States are destroyed without being left: call stop() first. Their destructors find a whole machine, but no event
    /// fires anything any more. A class derived from this one calls stop() in its own destructor and waits for the
    /// active state to be left, as long as its members are there for the hooks.
    ///
    /// Not from the worker thread itself: a hook that deletes its own machine ends the process by abort(), with a line
    /// on standard error. Only exit() may come here on the worker, for a static machine, when a hook calls it or fails
    /// and a signal handler does: then the machine waits for nobody, the states are not destroyed, since the hook still
    /// stands in them, and the process ends with the status that exit() was given.
    ~CStateMachine() override;

    /// Enters the initial state on the calling thread, emits sigStarted, and starts the worker of an asynchronous
    /// machine. Does nothing without children or initial state, and while the worker of an earlier start() still runs.
    /// Another top-level state that is active still is left first.
    /// If the system refuses the worker's thread, the initial state is active and events stay queued until stop() and
    /// another start().
    void start();

    /// Ends the worker of an asynchronous machine and leaves the active top-level state on the calling thread.
    ///
    /// The worker is woken, handles what is queued, and makes no further pass; it has 200 ms. If a hook or an endless
    /// stream of events keeps it longer, stop() returns nevertheless, and the worker leaves the active state itself as
    /// soon as the event in work is done: two threads never walk the tree together. isActive() of the top-level state
    /// tells when that has come. So it goes too when a hook on the worker calls stop(): it returns at once, and what is
    /// queued stays queued. If a receiver fires a transition while the active state is being left, the state that it
    /// enters is the active one, which another stop() leaves. A synchronous machine is left at once, so not from its
    /// hooks, which stand in the middle of a walk over the tree, but after process() has returned; nor any machine from
    /// the hooks of start(). A machine that was not started is left as it is.
    void stop();

    /// Ends the machine from inside, the one way for hooks, actions and receivers of either kind of machine: the active
    /// state is left as soon as the event in work is done, and what is queued then stays queued. In an asynchronous
    /// machine that is stop(); in a synchronous one process() does it and makes no pass, for an event that was handled
    /// directly the next process(). In a hook of start() the machine is left again before start() returns. On the
    /// processing thread.
    void requestEnd();

    /// Fires what is due, and handles every event and transition in the queue, those included that are queued
    /// meanwhile, then makes one processing pass over the active states.
    void process();

    /// Fires the transitions of an event now, on the calling thread.
    void processEvent(unsigned char eventNo);

    /// ProcessingAsync: puts the event into the queue, from any thread (see the table for a full queue).
    /// ProcessingSync: processEvent() at once, on the processing thread only.
    void postEvent(unsigned char eventNo, eProcessingType type = ProcessingAsync);

    /// The same for an enumerator of any type, also of an `enum class`; one that is no number from 0 to 255 is ignored.
    template<class Event, class = std::enable_if_t<std::is_enum_v<Event>>>
    void postEvent(Event event, eProcessingType type = ProcessingAsync)
    {
        if (const auto number = eventNumber(event))
            postEvent(*number, type);
    }
    template<class Event, class = std::enable_if_t<std::is_enum_v<Event>>>
    void processEvent(Event event)
    {
        if (const auto number = eventNumber(event))
            processEvent(*number);
    }

    /// Posts an event with a value that travels in the queue: trivially copyable, at most 16 bytes. Guards, actions,
    /// hooks and receivers read it by value() while the event is handled.
    template<class Event, class T, class = std::enable_if_t<!std::is_same_v<T, eProcessingType>>>
    void postEvent(Event event, const T& carried)
    {
        if (const auto number = eventNumber(event))
            postWithValue(*number, CEventValue::of(carried));
    }

    /// What the event in work carries, if it is of exactly this type; nothing for an event without, a queued transition
    /// and a time-out. On the processing thread.
    template<class T>
    std::optional<T> value() const
    {
        const CEventValue* const inWork = valueInWork();
        return inWork ? inWork->as<T>() : std::nullopt;
    }

    /// Names an event for pictures, traces and validate(); before start(). Several at once:
    /// `machine.setEventNames<eEvent>({{eEvent::Start, "start"}, {eEvent::Stop, "stop"}})`.
    void setEventName(unsigned char eventNo, const std::string& name);
    template<class Event>
    void setEventNames(std::initializer_list<std::pair<Event, const char*>> names)
    {
        for (const auto& [event, name] : names)
            if (const auto number = eventNumber(event))
                setEventName(*number, name);
    }

    /// Empty for an event that was not named.
    const std::string& eventName(unsigned char eventNo) const;

    /// As drawn or in order; before start().
    void setDispatch(eDispatch dispatch);
    eDispatch dispatch() const;

    /// When the next time-out of an active state is due, never() if none is: until then the application's loop may
    /// sleep, then process() fires it. On the processing thread; for a synchronous machine.
    CDeadline nextDeadline() const;

    /// Puts the event into the queue, from any thread, without ever waiting for room; false when there was none, and
    /// then nothing is counted or emitted: the poster knows. For real-time threads, and for whoever has a better idea
    /// than to wait. Of two posters one waits for the other's copying of a few bytes.
    bool tryPostEvent(unsigned char eventNo);

    /// Puts a transition into the queue, from any thread; CTransition::trigger(TriggerQueued) calls it.
    void queueTransitionTriggerEvent(CTransition* transition);

    /// Lets an event fire a transition, besides those that it fires already; a second time changes nothing. The name is
    /// spelled so and stays so.
    void registerEventTransiton(unsigned char eventNo, CTransition* transition);

    /// The numbers of the events that fire a transition, ascending.
    std::vector<unsigned char> eventsOf(const CTransition* transition) const;

    /// The transitions that an event fires, in the order of registration.
    std::vector<CTransition*> transitionsOf(unsigned char eventNo) const;

    /// True for a machine with a worker thread of its own.
    bool isAsync() const;

    /// Events and queued transitions that wait; 64 at most, or what the constructor was given.
    unsigned int pendingEvents() const;
    unsigned int queueSize() const;

    /// As many as ever waited at a time since the machine was constructed, the high-water mark.
    unsigned int mostPendingEvents() const;

    /// Events and queued transitions that found the queue full since the machine was constructed. The poster is not
    /// told; a counter that grows means that the machine is too slow for its events.
    std::uint64_t droppedEvents() const;

    /// Runs the worker under a real-time policy or on some processors only, see CThread, which says the codes; from now
    /// on if it runs, and at every later start. -22 for a synchronous machine, which has none.
    int setRealTimePriority(eRealTimePolicy policy, int priority);
    int setProcessors(const std::vector<unsigned int>& processors);

    /// What the worker has; false and 0 while none runs.
    bool isRealTime() const;
    int realTimePriority() const;

    /// Every line of the framework's log goes to `callback`, without line break, at most 127 characters; an empty one
    /// switches logging off. Set it before start(): it is called on whichever thread logs.
    void setLogMessageCallback(const cb::Callback1<void, const std::string&>& callback);

    /// True while a log callback is set; saves the caller of logMessage() the collection of arguments.
    bool isLogging() const { return logging; }

    /// Formats as printf does into 128 bytes, longer texts are cut, and calls the log callback; nothing without one.
    /// `format` is not null.
    void logMessage(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Emits sigStateEntered; every state calls it at the end of its entry.
    void notifyStateEntry(CAbstractState* state) { sigStateEntered(state); }

    sigslot::signal1<CStateMachine*> sigStarted;       ///< the initial states are entered, the worker not yet started
    sigslot::signal1<CAbstractState*> sigStateEntered; ///< a state has been entered with all that lies below it
    sigslot::signal1<unsigned char> sigEventHandled;   ///< an event is about to fire its transitions

    /// A new event, or a queued transition, found the queue full; emitted on the thread that posted it.
    sigslot::signal1<unsigned char> sigEventDropped;
    sigslot::signal1<CTransition*> sigTransitionDropped;

private:
    friend class CAbstractState;
    friend class CState;
    friend class CTransition;
    friend class CWalk;
    friend class StateMachinePrivate;

    void postWithValue(unsigned char eventNo, const CEventValue& carried);
    const CEventValue* valueInWork() const;
    KIV_LOCAL void leaveTopState();
    KIV_LOCAL void noteLogging();
    KIV_LOCAL void withdrawTransition(const CTransition* transition);
    KIV_LOCAL void leaveBehind();

    std::unique_ptr<StateMachinePrivate> d;
    bool logging = false;
    std::uint64_t treeVersion = 0;  // another one after each change; 0 without states
    std::uint64_t quietVersion = 0; // the same while there is no log callback, else one that nothing is as of
};

} // namespace Kiv

#endif
