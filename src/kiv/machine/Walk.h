/// How states are entered and left and transitions fire: the one place for it, inlined where events are dispatched.
#ifndef KIV_WALK_H
#define KIV_WALK_H

#include <typeinfo>

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/EventTable.h"
#include "kiv/machine/TransitionDetails.h"

namespace Kiv
{

class CWalk
{
public:
    /// What a state or a transition has beyond the usual, which is a state with hooks of its own, a transition without,
    /// and nobody who listens: one look tells that there is nothing to look after.
    enum eExtra : unsigned char
    {
        HasReceivers = 1,   ///< or has had some
        HasPlainHooks = 2,  ///< a CState and no class derived from it: no virtual calls
        HasActiveMarks = 4, ///< a state in the row of an event with many transitions
        HasHook = 8,        ///< a class derived from CTransition
        HasGroups = 16,     ///< groups on the way down, which have to be told where to go
        HasAction = 32,     ///< a callback of the transition's
        HasTimeouts = 64    ///< a state that is left after a time
    };

    static void note(std::atomic<unsigned char>& extras, eExtra extra, bool has)
    {
        if (has)
            extras.fetch_or(extra, std::memory_order_relaxed);
        else
            extras.fetch_and(static_cast<unsigned char>(~extra), std::memory_order_relaxed);
    }

    static void enter(CAbstractState& state)
    {
        state.active.store(true, std::memory_order_release);
        if (state.extras.load(std::memory_order_relaxed) == 0)
            state.onEntry();
        else
            enterWithExtras(state);
        CStateMachine* const machine = state.machineCache.load(std::memory_order_relaxed);
        if (machine && machine->sigStateEntered.is_connected())
            emit(machine->sigStateEntered, &state);
    }

    static void exit(CAbstractState& state)
    {
        if (state.extras.load(std::memory_order_relaxed) == 0)
            state.onExit();
        else
            exitWithExtras(state);
        state.active.store(false, std::memory_order_release);
    }

    /// Fires a transition that is registered with the machine.
    static void fire(CTransition& transition, const CStateMachine& machine)
    {
        // As of this version it has a source, a target and a way, there is no guard to ask and no log to write.
        if (transition.plainAsOf != machine.quietVersion)
            return fire(transition);
        if (!transition.sourceState->isActive())
            return;
        const CAbstractState* const target = transition.targetState;
        exit(*transition.way.left);
        if (transition.extras.load(std::memory_order_relaxed) != 0)
            passWithExtras(transition);
        if (__builtin_expect(transition.targetState == target, true))
            enter(*transition.way.entered);
        else
            transition.enterNewTarget();
    }

    /// Fires any transition.
    [[gnu::noinline]] static void fire(CTransition& transition)
    {
        const CState* const source = transition.sourceState;
        if (!source || !source->isActive() || !transition.targetState)
            return transition.refuseUnready();
        const CStateMachine* const machine = source->machineCache.load(std::memory_order_relaxed);
        if ((!machine || transition.wayAsOf != machine->treeVersion) && !findsWay(transition))
            return;
        if (allows(transition))
            fireDecided(transition);
    }

    /// True if the transition has no guard that refuses it.
    static bool allows(const CTransition& transition)
    {
        return !transition.details || !transition.details->guard || transition.details->guard();
    }

    /// Fires a transition that is ready, knows its way and has been allowed.
    static void fireDecided(CTransition& transition)
    {
        transition.logTransition();
        if (transition.isInternal())
            return passWithExtras(transition);
        const CAbstractState* const target = transition.targetState;
        exit(*transition.way.left);
        passWithExtras(transition);
        if (transition.targetState == target)
            enter(*transition.way.entered);
        else
            transition.enterNewTarget();
    }

    /// True if the transition could fire now, but for its guard.
    static bool isReady(CTransition& transition)
    {
        const CState* const source = transition.sourceState;
        if (!source || !source->isActive() || !transition.targetState)
            return false;
        const CStateMachine* const machine = source->machineCache.load(std::memory_order_relaxed);
        return (machine && transition.wayAsOf == machine->treeVersion) || findsWay(transition);
    }

    /// True if firing `first` leaves the source of `second`.
    static bool leavesSourceOf(const CTransition& first, const CTransition& second)
    {
        const CAbstractState* state = second.sourceState;
        while (state && state != first.way.left)
            state = state->parentState();
        return state != nullptr && !first.isInternal();
    }

    static std::uint64_t versionOf(const CStateMachine& machine) { return machine.treeVersion; }

    /// Finds the transition's way before it fires.
    static void prepare(CTransition& transition)
    {
        if (transition.sourceState && transition.targetState)
            transition.findWay();
    }

    static void prepare(CState& state) { note(state.extras, HasPlainHooks, typeid(state) == typeid(CState)); }

    /// Room for what a deep one remembers of a group with so many states.
    static void prepare(CHistoryState& history, std::size_t states)
    {
        if (history.historyType() == HistoryDeep)
            history.rememberedBelow.reserve(states);
    }

    static void log(const CAbstractState& state, const char* hook)
    {
        const CStateMachine* const machine = state.machineCache.load(std::memory_order_relaxed);
        if (!machine || machine->isLogging()) // nobody may have asked for the state's machine yet
            state.logHook(hook);
    }

private:
    template<class Argument>
    [[gnu::noinline]] static void emit(sigslot::signal1<Argument>& signal, Argument argument)
    {
        signal(argument);
    }

    static bool findsWay(CTransition& transition)
    {
        const char* const obstacle = transition.findWay();
        return !obstacle || transition.refuse(obstacle);
    }

    [[gnu::noinline]] static void enterWithExtras(CAbstractState& state)
    {
        if (state.activeMarks)
            state.activeMarks->set(true);
        if (has(state.extras, HasTimeouts))
            armTimeouts(static_cast<CState&>(state), true);
        state.emitEntered();
        if (has(state.extras, HasPlainHooks))
            static_cast<CState&>(state).CState::onEntry();
        else
            state.onEntry();
    }

    [[gnu::noinline]] static void exitWithExtras(CAbstractState& state)
    {
        if (has(state.extras, HasTimeouts))
            armTimeouts(static_cast<CState&>(state), false);
        if (has(state.extras, HasPlainHooks))
            static_cast<CState&>(state).CState::onExit();
        else
            state.onExit();
        state.emitExited();
        if (state.activeMarks)
            state.activeMarks->set(false);
    }

    /// Between leaving and entering.
    [[gnu::noinline]] static void passWithExtras(CTransition& transition)
    {
        const CAbstractState* const target = transition.targetState;
        if (has(transition.extras, HasHook))
            transition.onTransition();
        if (has(transition.extras, HasAction))
            act(transition);
        transition.emitTriggered();
        if (has(transition.extras, HasGroups) && transition.targetState == target)
            transition.presetWay();
    }

    /// A copy, since the action may set another one.
    static void act(const CTransition& transition)
    {
        const cb::Callback0<void> action = transition.details->action;
        action();
    }

    static void armTimeouts(CState& state, bool arm);

    static bool has(const std::atomic<unsigned char>& extras, eExtra extra)
    {
        return (extras.load(std::memory_order_relaxed) & extra) != 0;
    }
};

} // namespace Kiv

#endif
