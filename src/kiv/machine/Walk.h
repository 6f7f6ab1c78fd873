/// How states are entered and left and transitions fire: the one place for it, inlined where events are dispatched.
#ifndef KIV_WALK_H
#define KIV_WALK_H

#include <typeinfo>

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/EventTable.h"

namespace Kiv
{

class CWalk
{
public:
    static void enter(CAbstractState& state)
    {
        mark(state, true);
        if (state.sigEntered.is_connected())
            emit(state.sigEntered, &state);
        if (state.isPlain)
            static_cast<CState&>(state).CState::onEntry();
        else
            state.onEntry();
        CStateMachine* const machine = state.machineCache.load(std::memory_order_relaxed);
        if (machine && machine->sigStateEntered.is_connected())
            emit(machine->sigStateEntered, &state);
    }

    static void exit(CAbstractState& state)
    {
        if (state.isPlain)
            static_cast<CState&>(state).CState::onExit();
        else
            state.onExit();
        if (state.sigExited.is_connected())
            emit(state.sigExited, &state);
        mark(state, false);
    }

    static void fire(CTransition& transition)
    {
        const CState* const source = transition.sourceState;
        if (!source || !source->isActive() || !transition.targetState)
            return transition.refuseUnready();
        const CStateMachine* const machine = source->machineCache.load(std::memory_order_relaxed);
        if ((!machine || transition.wayAsOf != machine->treeVersion) && !findsWay(transition))
            return;
        if (!machine || machine->isLogging())
            transition.logTransition();
        const CAbstractState* const target = transition.targetState;
        exit(*transition.way.left);
        if (!transition.isPlain)
            transition.onTransition();
        if (transition.sigTriggered.is_connected())
            emit(transition.sigTriggered, &transition);
        if (__builtin_expect(transition.targetState != target, false))
            return transition.enterNewTarget();
        if (transition.way.entered != target)
            transition.presetWay();
        enter(*transition.way.entered);
    }

    /// Finds the transition's way before it fires.
    static void prepare(CTransition& transition)
    {
        if (transition.sourceState && transition.targetState)
            transition.findWay();
    }

    static void prepare(CState& state) { state.isPlain = typeid(state) == typeid(CState); }

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

    [[gnu::noinline]] static bool findsWay(CTransition& transition)
    {
        const char* const obstacle = transition.findWay();
        return !obstacle || transition.refuse(obstacle);
    }

    static void mark(CAbstractState& state, bool active)
    {
        state.active.store(active, std::memory_order_release);
        if (state.activeMarks)
            state.activeMarks->set(active);
    }
};

} // namespace Kiv

#endif
