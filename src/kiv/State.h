/// The states of a hierarchical state machine: simple and compound, final, and history.
#ifndef KIV_STATE_H
#define KIV_STATE_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <kiv/Callback.h>
#include <kiv/EventValue.h>
#include <kiv/kiv_export.h>
#include <kiv/sigslot.h>

namespace Kiv
{

class CActiveMarks;
class CEventTable;
class CHistoryState;
class CState;
class CStateMachine;
class CTransition;
class CWalk;

/// What kind of state an object is; fixed at construction.
enum eStateType : int
{
    StateTypeState = 1,  ///< simple or compound state, also the machine
    StateTypeFinal = 2,  ///< entering it finishes its parent
    StateTypeHistory = 3 ///< stands for the child that was active when its parent was last left
};

/// How much a history state resumes.
enum eHistoryType : int
{
    HistoryShallow = 0, ///< the group's child; below it an entry starts from the initial states
    HistoryDeep = 1     ///< and everything below it, as it was when the group was last left
};

/// A node of the state tree: what every kind of state has in common.
///
/// Applications derive from CState, CFinalState or CHistoryState, not from this class, and override the three hooks; an
/// override calls the hook of its base class, which keeps the tree going. A state is constructed with `new` and with
/// its parent, and the parent owns it from then on: never delete a single state, never put one on the stack. Only the
/// machine is the application's own.
///
/// A state whose derived constructor throws is gone without a trace: its parent does not list, enter or remember it any
/// more, events and queued triggers do not reach its transitions, and transitions to it or into it lose their target.
/// The way back is a walk over the whole tree, so it belongs to the processing thread as adding the state does. When a
/// parent goes, its children find the machine whole, but their parent lists only those that are still to go; a state's
/// destructor posts no events and fires no transitions.
///
/// Order on entry: the state turns active, sigEntered, onEntry() (which enters the children), then the machine's
/// sigStateEntered; so along a nested entry sigEntered goes from the outside in and sigStateEntered from the inside
/// out. Order on exit: onExit() (which leaves the children first), sigExited, then the state turns inactive. On a
/// processing pass: onProcessing() (children first), then sigProcessing if the do-activity is enabled.
///
/// A hook or receiver stands in the middle of such a walk. It posts events and fires transitions with TriggerQueued; a
/// direct trigger from there changes the tree under the walk, which goes on with what it had begun. Only onProcessing()
/// and receivers of sigProcessing may fire directly: the rest of the pass then still visits the states just left.
///
/// Threads: hooks run and signals are emitted on the thread that processes the machine (see CStateMachine), those of
/// the first entry on the caller's of start() and those of the last exit on the caller's of stop(). isActive() may be
/// asked from any thread, and when it shows a state as left, what its exit did is visible too; everything else belongs
/// to the processing thread or to the time before start(), unless it says otherwise.
/// Errors: none is reported; misuse is ignored or said in the machine's log.
class KIV_API CAbstractState : public sigslot::has_slots<sigslot::multi_threaded_local>
{
public:
    /// Attaches itself to `parent`, unless that is null; `name` is copied, may be empty or repeated, and stands in
    /// every log line. `type` is that of the library's class which the derived one extends.
    CAbstractState(eStateType type, const std::string& name, CState* parent);
    ~CAbstractState() override;
    CAbstractState(const CAbstractState&) = delete;
    CAbstractState& operator=(const CAbstractState&) = delete;

    /// The machine that the state belongs to, null as long as no ancestor is one; null for the machine itself.
    CStateMachine* machine() const;

    /// Steps up to the machine, or to the top of a tree without machine; 0 for the machine and without parent.
    int hierarchyLevel() const;

    /// The ancestor n + 1 steps up, null where the chain is shorter; the state itself for a negative n.
    CAbstractState* parentAtLevel(int n) const;

    /// True from its entry to its exit; from any thread.
    bool isActive() const { return active.load(std::memory_order_acquire); }
    /// The names from below the machine down to the state, joined by dots: "Station.Control.SelfTest". The machine's
    /// own name for the machine; a state without a name appears as "(unnamed)".
    std::string path() const;

    /// As given to the constructor, like parent and type.
    const std::string& name() const { return stateName; }
    CState* parentState() const { return parentGroup; }
    eStateType stateType() const { return kind; }

    /// With true, every processing pass through the active state emits sigProcessing; off at first.
    void enableDoActivity(bool enable) { doActivityEnabled = enable; }

    /// Enters the state and, through onEntry(), what lies below it. The framework calls this; applications fire
    /// transitions instead.
    void enter();

    /// Leaves the state, what lies below it first.
    void exit();

    /// One processing pass over the state, what lies below it first.
    void doProcessing();

    /// Emit the signals; the framework calls them.
    void emitEntered() { sigEntered(this); }
    void emitExited() { sigExited(this); }
    void emitProcessing() { sigProcessing(this); }

    sigslot::signal1<CAbstractState*> sigEntered;    ///< the state turned active; its children are not entered yet
    sigslot::signal1<CAbstractState*> sigExited;     ///< the state has been left, its children before it
    sigslot::signal1<CAbstractState*> sigProcessing; ///< a processing pass, only with the do-activity enabled

    /// Called when the state is entered, after sigEntered.
    virtual void onEntry() = 0;

    /// Called when the state is left, before sigExited.
    virtual void onExit() = 0;

    /// Called on every processing pass while the state is active: the place for work that goes on inside a state.
    virtual void onProcessing() = 0;

    /// The innermost state that contains both, which is one of the two if it contains the other; null if there is none
    /// or `other` is null.
    virtual CAbstractState* commonParentState(CAbstractState* other) const;

protected:
    /// One line "NAME::WHAT" to the machine's log, if there is a machine and it logs.
    void logHook(const char* hook) const;

private:
    friend class CEventTable;
    friend class CHistoryState;
    friend class CState;
    friend class CStateMachine;
    friend class CTransition;
    friend class CWalk;

    KIV_LOCAL void noteTreeChange();
    KIV_LOCAL void takeOut(const CState* asGroup);

    CState* parentGroup;
    eStateType kind;
    bool isMachine = false;
    bool isListed = false; // by its parent, which is not about to delete it
    std::string stateName;
    mutable std::atomic<CStateMachine*> machineCache{nullptr};
    CActiveMarks* activeMarks = nullptr; // follow `active`, where the machine has an event with many transitions
    std::atomic<bool> active{false};
    std::atomic<unsigned char> extras{0}; // what an entry and an exit have to look after, see CWalk; usually nothing
    bool doActivityEnabled = false;
};

/// A simple state, or with children a compound one: a group of which one child or all children are active.
///
/// Exclusive mode (the default): one child is active, at first the initial state, which the application must set;
/// without it nothing below the group is entered.
/// Parallel mode: all children are entered and left together, in the order of adding.
///
/// A compound state finishes when one of its final children is entered: it emits sigFinished. If its parent is parallel
/// and all of the parent's compound children have finished by that, the parent emits sigFinished too, and there it
/// ends: completion travels further up only over finished transitions (addFinishedTransitionTo()).
///
/// Ownership: the state owns its children, history states and outgoing transitions and deletes them.
class KIV_API CState : public CAbstractState
{
public:
    /// How many children are active at a time.
    enum eChildMode : int
    {
        ChildModeExclusive = 0, ///< one active child
        ChildModeParallel = 1   ///< all children active together
    };

    /// A state under `parent`, see CAbstractState.
    explicit CState(const std::string& name, CState* parent = nullptr);
    ~CState() override;

    /// Takes a child over; states constructed with a parent have done this already. A history state is kept apart and
    /// is not listed among the children, a final state is. Null and a child listed already are ignored; a child of
    /// another group leaves that one.
    void addState(CAbstractState* child);

    /// The child that an entry goes to; must be one of the children or the history state, which is not checked.
    void setInitialState(CAbstractState* state) { initial = state; }

    /// Chooses between one active child and all; ChildModeParallel also forgets the initial state.
    void setChildMode(eChildMode childMode);

    /// Creates a history state "NAME_History" in this group and makes it the initial state: from then on an entry
    /// resumes the child that was active when the group was last left; a deep one resumes all that was active below it,
    /// too.
    CHistoryState* addHistoryState(eHistoryType type = HistoryShallow);

    /// As set last.
    eChildMode childMode() const { return mode; }

    /// Exclusive: a final child is active. Parallel: every compound child has finished; children of other kinds do not
    /// count, so without any compound child it has.
    bool isFinished() const;

    /// In the order of adding; null for an initial state that was never set.
    const std::vector<CAbstractState*>& children() const { return childStates; }
    const std::vector<CTransition*>& transitions() const { return outgoing; }
    CAbstractState* initialState() const { return initial; }

    /// The group's history state, null without; the last one if several were added.
    CHistoryState* historyState() const;

    /// All history states that were added; those before the last one never come to remember anything.
    const std::vector<CAbstractState*>& historyStates() const { return histories; }

    /// In exclusive mode the active child, null while none is; may be read from any thread.
    CAbstractState* currentChild() const { return activeChild.load(std::memory_order_relaxed); }

    /// Appends a transition whose source must be this state; the state owns it from then on. Null and one that it has
    /// already are ignored.
    void addTransition(CTransition* transition);

    /// A transition that only CTransition::trigger() fires.
    CTransition* addTransitionTo(CAbstractState* target, const std::string& name = "");

    /// A transition that an event fires, 0 to 255. Null, and nothing is created, while the state belongs to no machine.
    CTransition* addEventTransitionTo(CAbstractState* target, unsigned char eventNo, const std::string& name = "");

    /// The same for an enumerator of any type, also of an `enum class`; null, too, if it is no number from 0 to 255.
    template<class Event, class = std::enable_if_t<std::is_enum_v<Event>>>
    CTransition* addEventTransitionTo(CAbstractState* target, Event event, const std::string& name = "")
    {
        const auto number = eventNumber(event);
        return number ? addEventTransitionTo(target, *number, name) : nullptr;
    }

    /// An internal transition: the event runs `action` and leaves and enters nothing. Null as above.
    template<class Event>
    CTransition* addInternalTransition(Event event, const cb::Callback0<void>& action, const std::string& name = "")
    {
        const auto number = eventNumber(event);
        return number ? addInternalOn(*number, action, name) : nullptr;
    }

    /// A transition that fires when the state has been active for `span` without being left: `30s`, `250ms`. It counts
    /// anew from each entry and ends with the exit, so it never comes late from an earlier stay. It fires once for each
    /// entry, also if its guard refuses or if it is internal. Any number for each state, no thread for any: the worker
    /// of an asynchronous machine wakes for it, in a synchronous one process() fires what is due, see
    /// CStateMachine::nextDeadline(). A span of zero or below is due at once.
    CTransition* addTimeoutTransitionTo(CAbstractState* target, std::chrono::nanoseconds span,
                                        const std::string& name = "");

    /// A transition "NAMEFinished" that fires when this state has finished. It is always queued, also in a synchronous
    /// machine, and so fires when the machine next processes its queue, never inside sigFinished.
    CTransition* addFinishedTransitionTo(CAbstractState* target);

    /// Declares the state finished without a final state: emits sigFinished. It leaves nothing and changes no state;
    /// isFinished() stays as it is.
    void leave() { emitFinished(); }
    void emitFinished() { sigFinished(this); }

    /// What a final child calls when it was entered.
    void onFinalEntered();

    sigslot::signal1<CAbstractState*> sigFinished; ///< a final child was entered, or leave() was called

    void onEntry() override;
    void onExit() override;
    void onProcessing() override;

private:
    friend class CAbstractState;
    friend class CFinalState;
    friend class CHistoryState;
    friend class CStateMachine;
    friend class CTransition;

    void setActiveChild(CAbstractState* state) { activeChild.store(state, std::memory_order_relaxed); }

    /// Says where the next entry of the group goes; that entry makes it the active child.
    void presetChild(CAbstractState* state) { setActiveChild(state); }
    CTransition* addInternalOn(unsigned char eventNo, const cb::Callback0<void>& action, const std::string& name);
    KIV_LOCAL void enterChildren();
    KIV_LOCAL void leaveChildren();
    KIV_LOCAL void leaveActiveChild();
    KIV_LOCAL void leave(CAbstractState& child);
    KIV_LOCAL bool holds(const CAbstractState* state) const;
    KIV_LOCAL void forget(const CAbstractState* child);
    KIV_LOCAL void forgetWaysTo(const CAbstractState* state, const CState* asGroup);
    KIV_LOCAL void withdrawTransitions(CStateMachine& owner) const;
    KIV_LOCAL void deleteTree();

    CAbstractState* initial = nullptr;
    // The child that is active. Between presetChild(), by a transition into the group or a history state, and the entry
    // that follows it, the child which that entry goes to.
    std::atomic<CAbstractState*> activeChild{nullptr};
    CAbstractState* finalState = nullptr;
    eChildMode mode = ChildModeExclusive;
    std::vector<CAbstractState*> childStates;
    std::vector<CAbstractState*> histories;
    std::vector<CTransition*> outgoing;
};

/// A state without inner life: entering it finishes its parent.
class KIV_API CFinalState : public CAbstractState
{
public:
    /// A final state under `parent`, see CAbstractState.
    explicit CFinalState(const std::string& name, CState* parent = nullptr);

    void onEntry() override;
    void onExit() override;
    void onProcessing() override;
};

/// Stands for the child of its group that was active when the group was last left, and enters that one.
///
/// A shallow history remembers the direct child only; below it an entry starts from the initial states, unless there
/// are history states too. A deep one remembers the active states on all levels below. Take the shallow one where the
/// child is to begin anew (a batch that was disturbed while "soaking" shall not go on in the middle of "dosing"), the
/// deep one for an interruption that changes nothing. Before the group was ever left, the default state stands in;
/// without one, nothing is entered. In a parallel group, whose children are all entered, it has no use. It may stand
/// directly under the machine: then stop() remembers and start() resumes. It is never left, so isActive() stays true
/// once it was entered. History states that stand for each other in a circle enter nothing.
class KIV_API CHistoryState : public CAbstractState
{
public:
    /// A history state under `parent`; CState::addHistoryState() is the usual way.
    explicit CHistoryState(const std::string& name, CState* parent = nullptr);

    /// The state to enter as long as nothing is remembered; null for none. Another group's state, or the history state
    /// itself, changes nothing and leaves a line in the machine's log.
    void setDefaultState(CAbstractState* state);

    /// Deep or shallow; shallow at first.
    void setHistoryType(eHistoryType type) { depth = type; }
    eHistoryType historyType() const { return depth; }

    /// As set last; null for none.
    CAbstractState* defaultState() const { return defaultChild; }

    void onEntry() override;
    void onExit() override;
    void onProcessing() override;

private:
    friend class CState;
    friend class CWalk;

    CAbstractState* resumed() const { return rememberedChild ? rememberedChild : defaultChild; }
    KIV_LOCAL bool standsInACircle() const;
    KIV_LOCAL void remember(CAbstractState& child);
    KIV_LOCAL void rememberBelow(const CAbstractState& state);
    KIV_LOCAL void forget(const CAbstractState* state);

    CAbstractState* defaultChild = nullptr;
    CAbstractState* rememberedChild = nullptr;
    eHistoryType depth = HistoryShallow;
    std::vector<CAbstractState*> rememberedBelow; // of a deep one: the active children of the groups below that child
};

} // namespace Kiv

#endif
