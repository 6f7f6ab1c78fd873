#include <kiv/MachoMirror.h>

#include <algorithm>
#include <string>
#include <vector>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

namespace Macho
{

namespace
{

/// Enters and leaves nothing by itself: the typed machine says what is entered and left.
class CMirroredState : public Kiv::CState
{
public:
    using CState::CState;
    void onEntry() override {}
    void onExit() override {}
};

} // namespace

class CMirrorPrivate
{
public:
    explicit CMirrorPrivate(const Chart& shape) : chart(shape), states(shape.stateCount), histories(shape.stateCount)
    {
        states[0] = &machine;
        for (std::size_t state = 1; state < chart.stateCount; ++state)
            addState(state);
        for (std::size_t state = 0; state < chart.stateCount; ++state)
            setInitialState(state, chart.states[state].initialState);
        for (std::size_t i = 0; i < chart.arrowCount; ++i)
            addArrow(chart.arrows[i]);
    }

    Kiv::CTransition* find(const ChartArrow& wanted) const
    {
        const auto fits = [&](const Mirrored& mirrored) {
            return mirrored.arrow.source == wanted.source && mirrored.arrow.event == wanted.event &&
                   mirrored.arrow.target == wanted.target && mirrored.arrow.kind == wanted.kind &&
                   (wanted.source != 0 || mirrored.transition->source()->isActive());
        };
        const auto found = std::find_if(transitions.begin(), transitions.end(), fits);
        return found == transitions.end() ? nullptr : found->transition;
    }

    const Chart& chart;
    Kiv::CStateMachine machine;
    std::vector<Kiv::CState*> states;

private:
    struct Mirrored
    {
        ChartArrow arrow;
        Kiv::CTransition* transition;
    };

    /// A state may be listed before its super-state.
    void addState(std::size_t number)
    {
        if (states[number])
            return;
        const ChartState& state = chart.states[number];
        addState(state.superState);
        states[number] = new CMirroredState(state.name, states[state.superState]);
        if (state.isRemembered)
            histories[number] = new Kiv::CHistoryState(std::string(state.name) + "_History", states[number]);
    }

    void setInitialState(std::size_t state, std::size_t initial)
    {
        if (initial == state)
            return;
        states[state]->setInitialState(states[initial]);
        if (histories[state])
            histories[state]->setDefaultState(states[initial]);
    }

    void addArrow(const ChartArrow& arrow)
    {
        if (arrow.source != 0)
            return addArrow(arrow, arrow.source);
        for (std::size_t state = 1; state < chart.stateCount; ++state)
            if (chart.states[state].superState == 0 && !(isEvent(arrow) && chart.handles(state, arrow.event)))
                addArrow(arrow, state);
    }

    void addArrow(const ChartArrow& arrow, std::size_t source)
    {
        const bool isHistory = arrow.kind == EntryHistory || arrow.kind == EntryDeepHistory;
        Kiv::CAbstractState* const target = states[arrow.target];
        const std::string name = causeOf(arrow) + (arrow.kind == EntryDeepHistory ? " (deep)" : "");
        transitions.push_back(
            {arrow, states[source]->addTransitionTo(isHistory ? histories[arrow.target] : target, name)});
    }

    bool isEvent(const ChartArrow& arrow) const { return arrow.event < chart.eventCount; }

    std::string causeOf(const ChartArrow& arrow) const
    {
        if (arrow.event == Chart::entryAction)
            return "entry";
        return arrow.event == Chart::initialAction ? "initial" : chart.events[arrow.event];
    }

    std::vector<Kiv::CHistoryState*> histories;
    std::vector<Mirrored> transitions;
};

CMirror::CMirror(const Chart& shape) : d(std::make_unique<CMirrorPrivate>(shape)) {}

CMirror::~CMirror() = default;

Kiv::CStateMachine& CMirror::machine() { return d->machine; }

const Kiv::CStateMachine& CMirror::machine() const { return d->machine; }

void CMirror::onEvent(std::size_t event)
{
    d->machine.sigEventHandled(static_cast<unsigned char>(std::min<std::size_t>(event, 255)));
}

void CMirror::onTransition(const ChartArrow& arrow)
{
    if (Kiv::CTransition* const transition = d->find(arrow))
        transition->emitTriggered();
}

void CMirror::onEntered(std::size_t state)
{
    if (state != 0)
        d->states[state]->enter();
}

void CMirror::onLeft(std::size_t state)
{
    if (state != 0)
        d->states[state]->exit();
}

} // namespace Macho
