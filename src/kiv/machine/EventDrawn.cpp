// Dispatch as drawn. The transitions of an event stand in the order of the drawing, inner states before outer ones; one
// look along the row then finds what fires: a state is passed over if the last one chosen lies inside it.
#include <algorithm>
#include <unordered_map>

#include "kiv/machine/EventTable.h"
#include "kiv/machine/Walk.h"

namespace Kiv
{

namespace
{

struct Span
{
    unsigned firstInside;
    unsigned number;
};

using Spans = std::unordered_map<const CAbstractState*, Span>;

void number(const CState& group, unsigned& next, Spans& spans)
{
    const unsigned first = next;
    for (const CAbstractState* child : group.children())
        if (child->stateType() == StateTypeState)
            number(static_cast<const CState&>(*child), next, spans);
    spans[&group] = {first, next++};
}

} // namespace

void CEventTable::setAsDrawn(bool drawn)
{
    asDrawn = drawn;
    unmark();
    for (std::size_t event = 0; event < rows.size(); ++event)
    {
        rows[event].drawnAsOf = 0;
        noteOnlyOne(event);
    }
}

void CEventTable::draw(EventRow& row, const CStateMachine& machine)
{
    Spans spans;
    unsigned next = 0;
    number(machine, next, spans);
    row.drawn.clear();
    for (CTransition* transition : row.transitions)
    {
        const auto span = spans.find(transition->source());
        if (span != spans.end())
            row.drawn.push_back({transition, span->second.firstInside, span->second.number});
    }
    std::stable_sort(row.drawn.begin(), row.drawn.end(),
                     [](const EventRow::Drawn& a, const EventRow::Drawn& b) { return a.number < b.number; });
    row.drawnAsOf = CWalk::versionOf(machine);
    row.markedCount = 0;
    chosen.reserve(chosen.size() + row.drawn.size());
}

void CEventTable::choose(const EventRow& row)
{
    unsigned lastChosen = 0;
    bool hasChosen = false;
    for (std::size_t i = 0; i < row.drawn.size(); ++i)
    {
        if (row.markedCount != 0)
            i = nextMarked(row, i);
        if (i >= row.drawn.size())
            return;
        const EventRow::Drawn& drawn = row.drawn[i];
        if (hasChosen && lastChosen >= drawn.firstInside)
            continue; // something inside has taken the event, or another transition of the same state
        if (!CWalk::isReady(*drawn.transition) || !CWalk::allows(*drawn.transition))
            continue;
        chosen.push_back(drawn.transition);
        lastChosen = drawn.number;
        hasChosen = true;
    }
}

void CEventTable::fireAsDrawn(unsigned char eventNo, CStateMachine& machine)
{
    if (eventNo >= rows.size() || rows[eventNo].transitions.empty())
        return;
    if (rows[eventNo].drawnAsOf != CWalk::versionOf(machine))
        draw(rows[eventNo], machine);
    const std::size_t bottom = chosen.size();
    choose(rows[eventNo]);
    const std::size_t top = chosen.size();
    for (std::size_t i = bottom; i < top; ++i)
    {
        CTransition* const transition = chosen[i];
        if (!transition || !CWalk::isReady(*transition))
            continue;
        // What lies in a state that is left now has lost its turn, also if that state is entered again.
        for (std::size_t later = i + 1; later < top; ++later)
            if (chosen[later] && CWalk::leavesSourceOf(*transition, *chosen[later]))
                chosen[later] = nullptr;
        CWalk::fireDecided(*transition);
    }
    chosen.resize(bottom);
}

} // namespace Kiv
