/// A transition of a state machine: from a source state to a target state, fired directly, by an event or by
/// completion.
#ifndef KIV_TRANSITION_H
#define KIV_TRANSITION_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <kiv/Callback.h>
#include <kiv/kiv_export.h>
#include <kiv/sigslot.h>

namespace Kiv
{

class CAbstractState;
class CState;
class CStateMachine;
class CWalk;

/// Moves the machine from its source state to its target state.
///
/// Made by CState::addTransitionTo(), addEventTransitionTo() and addFinishedTransitionTo(); derive from it and override
/// onTransition() for work of its own, then hand it over with CState::addTransition().
///
/// Firing: nothing happens unless the source is active. Then the states from the source up to just below the common
/// parent of source and target are left, innermost first; onTransition() is called and sigTriggered emitted; the states
/// from below the common parent down to the target are entered, and what lies below a compound target. A transition
/// to a state of the same group, itself included, leaves the source and enters the target. A transition from a state
/// into its own inside leaves the state and enters only the path below it: the state ends inactive, on purpose. One
/// from region to region of a parallel state leaves its own region and enters the other anew, which was not left.
///
/// Ownership: the source state owns the transition.
/// Threads: a direct trigger belongs to the thread that processes the machine, outside of hooks and receivers (see
/// CAbstractState); from these and from any other thread use TriggerQueued.
/// Errors: none is returned; a transition that cannot fire leaves every state as it is and one line in the machine's
/// log: no source, no target, source not active, no common parent, or a target that contains the source.
class KIV_API CTransition : public sigslot::has_slots<sigslot::multi_threaded_local>
{
public:
    /// When a transition fires that is triggered.
    enum eTriggerMode : int
    {
        TriggerDirect = 0, ///< fire at once, on the calling thread
        TriggerQueued = 1  ///< fire when the machine processes its queue, if the source is active then
    };

    /// Does not enter itself in the source's list; CState::addTransition() does. `name` is copied.
    explicit CTransition(CState* source, const std::string& name = "");
    ~CTransition() override;
    CTransition(const CTransition&) = delete;
    CTransition& operator=(const CTransition&) = delete;

    /// A target must be set before the transition can fire.
    void setTargetState(CAbstractState* state)
    {
        targetState = state;
        wayAsOf = 0;
        plainAsOf = 0;
    }

    /// Null as long as none is set.
    CState* source() const { return sourceState; }
    CAbstractState* target() const { return targetState; }
    /// As given to the constructor.
    const std::string& name() const { return transitionName; }

    /// The source's machine; null without source or as long as the source belongs to none.
    CStateMachine* machine() const;

    /// The condition under which it fires: asked when its turn comes and the source is active. What it refuses is no
    /// error and leaves no line in the log; `name` stands in pictures, "[tank full]". It changes nothing, and is asked
    /// on the processing thread. An empty callback removes it. Returns the transition, as the next two do.
    CTransition* setGuard(const std::string& name, const cb::Callback0<bool>& guard);

    /// What is done while it fires, after onTransition() and before sigTriggered; an empty callback removes it.
    CTransition* setAction(const cb::Callback0<void>& action);

    /// An internal transition runs hook, action and signal, but leaves and enters nothing; the target is then the
    /// source.
    CTransition* setInternal();

    /// Of its guard; empty without one.
    const std::string& guardName() const;
    bool hasGuard() const;
    bool isInternal() const;

    /// After how long in the source it fires, see CState::addTimeoutTransitionTo(); nothing for other transitions.
    std::optional<std::chrono::nanoseconds> timeout() const;

    /// True when the source's sigFinished triggers the transition, as addFinishedTransitionTo() arranges it.
    bool isFinishedTransition() const;

    /// Fires at once, or with TriggerQueued puts the transition into the machine's queue.
    void trigger(eTriggerMode mode = TriggerDirect);

    /// For a finished signal: always queues, whatever the argument.
    void trigger(CAbstractState* finished);

    /// Puts the transition into the machine's queue; without machine, or when the queue stays full, it is dropped (see
    /// CStateMachine::droppedEvents()).
    void postTriggerEvent();

    /// Fires at once.
    void doTrigger();

    /// Writes "SOURCE ---[NAME::onTransition()]---> TARGET" to the machine's log; nothing without source or target.
    void logTransition();

    /// Emits the signal; the framework calls it.
    void emitTriggered() { sigTriggered(this); }

    /// Called while the transition fires, between leaving and entering; does nothing here.
    virtual void onTransition();

    sigslot::signal1<CTransition*> sigTriggered; ///< the transition fired: source left, target not yet entered

private:
    friend class CState;
    friend class CStateMachine;
    friend class CTimeouts;
    friend class CWalk;
    struct Details;

    /// From source to target through the tree.
    struct Way
    {
        CAbstractState* left;    // the outermost state that is left
        CAbstractState* entered; // the outermost state that is entered
        CAbstractState* common;  // the parent of both
    };

    KIV_LOCAL Details& ownDetails();
    KIV_LOCAL const char* findWay();
    KIV_LOCAL bool refuse(const char* reason);
    KIV_LOCAL void refuseUnready();
    KIV_LOCAL void presetWay();
    KIV_LOCAL void enterNewTarget();
    KIV_LOCAL static CAbstractState* below(const CAbstractState* common, CAbstractState* state);

    CAbstractState* targetState = nullptr;
    CState* sourceState;
    Way way{};
    std::uint64_t wayAsOf = 0;            // the version of the machine's tree for which the way was found; 0 for none
    std::uint64_t plainAsOf = 0;          // the same, but 0 for a transition with a guard and an internal one
    std::atomic<unsigned char> extras{0}; // what firing has to look after, see CWalk; usually nothing
    std::string transitionName;
    std::unique_ptr<Details> details; // null for most
};

} // namespace Kiv

#endif
