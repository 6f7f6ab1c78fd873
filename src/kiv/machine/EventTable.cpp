#include "kiv/machine/EventTable.h"

#include <algorithm>

#include "kiv/machine/Walk.h"

namespace Kiv
{

namespace
{

/// Fewer transitions than these are tried faster than their bits are kept.
constexpr std::size_t fewTransitions = 8;
constexpr std::size_t wordSize = 64;
constexpr std::size_t eventCount = 256;

} // namespace

void CEventTable::add(unsigned char eventNo, CTransition* transition)
{
    if (eventNo >= rows.size())
        rows.resize(eventCount);
    auto& transitions = rows[eventNo].transitions;
    if (std::find(transitions.begin(), transitions.end(), transition) == transitions.end())
        transitions.push_back(transition);
    rows[eventNo].drawnAsOf = 0;
    noteOnlyOne(eventNo);
}

void CEventTable::remove(const CTransition* transition)
{
    unmark();
    for (std::size_t event = 0; event < rows.size(); ++event)
    {
        auto& transitions = rows[event].transitions;
        transitions.erase(std::remove(transitions.begin(), transitions.end(), transition), transitions.end());
        rows[event].drawnAsOf = 0;
        noteOnlyOne(event);
    }
    std::replace(chosen.begin(), chosen.end(), const_cast<CTransition*>(transition),
                 static_cast<CTransition*>(nullptr));
}

void CEventTable::clear()
{
    unmark();
    onlyOnes.fill(nullptr);
    rows.clear();
}

std::vector<unsigned char> CEventTable::eventsOf(const CTransition* transition) const
{
    std::vector<unsigned char> events;
    for (std::size_t event = 0; event < rows.size(); ++event)
    {
        const auto& transitions = rows[event].transitions;
        if (std::find(transitions.begin(), transitions.end(), transition) != transitions.end())
            events.push_back(static_cast<unsigned char>(event));
    }
    return events;
}

std::vector<CTransition*> CEventTable::transitionsOf(unsigned char eventNo) const
{
    return eventNo < rows.size() ? rows[eventNo].transitions : std::vector<CTransition*>();
}

/// The first transition from `from` on that has to be tried; the marked ones end with `markedCount`.
std::size_t CEventTable::nextMarked(const EventRow& row, std::size_t from)
{
    for (std::size_t word = from / wordSize; word < row.marks.size(); ++word)
    {
        std::uint64_t left = row.marks[word];
        if (word == from / wordSize)
            left &= ~std::uint64_t{0} << from % wordSize;
        if (left != 0)
            return word * wordSize + static_cast<std::size_t>(__builtin_ctzll(left));
    }
    return row.markedCount;
}

void CEventTable::unmark()
{
    for (EventRow& row : rows)
        row.markedCount = 0;
    for (const auto& marks : marked)
    {
        marks->state->activeMarks = nullptr;
        CWalk::note(marks->state->extras, CWalk::HasActiveMarks, false);
    }
    marked.clear();
}

void CEventTable::mark()
{
    unmark();
    for (EventRow& row : rows)
        if (row.transitions.size() > fewTransitions)
            mark(row);
}

/// A row with a transition that has no source, or one in another machine, which has the bits of its own, stays as it
/// is.
void CEventTable::mark(EventRow& row)
{
    const CStateMachine* const machine = row.transitions.front()->machine();
    const auto isForeign = [machine](const CTransition* each) { return !machine || each->machine() != machine; };
    if (std::any_of(row.transitions.begin(), row.transitions.end(), isForeign))
        return;
    if (asDrawn)
        draw(row, *machine);
    row.markedCount = row.transitions.size();
    row.marks.assign((row.markedCount + wordSize - 1) / wordSize, 0);
    for (std::size_t i = 0; i < row.markedCount; ++i)
    {
        CState& source = *(asDrawn ? row.drawn[i].transition : row.transitions[i])->source();
        CActiveMarks& marks = marksOf(source);
        marks.places.push_back({&row.marks[i / wordSize], std::uint64_t{1} << i % wordSize});
        marks.set(source.isActive());
    }
}

CActiveMarks& CEventTable::marksOf(CAbstractState& state)
{
    if (!state.activeMarks)
    {
        marked.push_back(std::make_unique<CActiveMarks>());
        marked.back()->state = &state;
        state.activeMarks = marked.back().get();
        CWalk::note(state.extras, CWalk::HasActiveMarks, true);
    }
    return *state.activeMarks;
}

} // namespace Kiv
