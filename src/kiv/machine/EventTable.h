/// Which transitions an event fires; private.
///
/// Most events have a few transitions, which are simply tried. A row of many keeps, from the start of the machine on, a
/// bit for each transition whose source is active, so that an event costs what it fires and not what is registered.
/// The states set and clear these bits when they are entered and left.
#ifndef KIV_EVENTTABLE_H
#define KIV_EVENTTABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

namespace Kiv
{

/// The transitions of one event number, in the order of registration.
struct EventRow
{
    /// A transition in the order of the drawing: inner states before outer ones. The states that its source contains
    /// have the numbers from `firstInside` to `number`, which is its own.
    struct Drawn
    {
        CTransition* transition;
        unsigned firstInside;
        unsigned number;
    };

    std::vector<CTransition*> transitions;
    std::vector<Drawn> drawn;    ///< for dispatch as drawn; looked for anew when the tree or the row changes
    std::uint64_t drawnAsOf = 0; ///< the version of the tree
    std::size_t markedCount = 0; ///< how many of them have a bit; those that were registered later have none
    std::vector<std::uint64_t> marks;
};

/// The bits of a state: where they are in the rows of the events that its transitions are registered for.
class CActiveMarks
{
public:
    void set(bool active)
    {
        for (const Place& place : places)
        {
            if (active)
                *place.word |= place.bit;
            else
                *place.word &= ~place.bit;
        }
    }

private:
    friend class CEventTable;

    struct Place
    {
        std::uint64_t* word;
        std::uint64_t bit;
    };

    CAbstractState* state = nullptr;
    std::vector<Place> places;
};

/// The rows of a machine.
class CEventTable
{
public:
    void add(unsigned char eventNo, CTransition* transition);
    void remove(const CTransition* transition);
    void clear();

    /// Gives bits to the rows of many transitions; their sources' states must not change meanwhile.
    void mark();

    /// Chooses the order of the drawing, or that of registration; before mark().
    void setAsDrawn(bool asDrawn);
    bool isAsDrawn() const { return asDrawn; }

    /// Fires in each active region the innermost transition that its guard allows; all are chosen before one fires.
    void fireAsDrawn(unsigned char eventNo, CStateMachine& machine);

    std::vector<unsigned char> eventsOf(const CTransition* transition) const;
    std::vector<CTransition*> transitionsOf(unsigned char eventNo) const;

    /// Calls `fire` for each transition whose turn comes; with `all` also for those whose source is not active, which
    /// changes nothing but the log. Rows may grow meanwhile.
    template<class All, class Fire>
    void forEach(unsigned char eventNo, All all, Fire fire)
    {
        CTransition* const only = onlyOnes[eventNo];
        if (only)
            fire(*only);
        if (only != onlyOnes[eventNo] || !only)
            forEachFrom(only ? 1 : 0, eventNo, all, fire);
    }

private:
    template<class All, class Fire>
    [[gnu::noinline]] void forEachFrom(std::size_t first, unsigned char eventNo, All all, Fire fire)
    {
        for (std::size_t i = first; i < sizeOf(eventNo); ++i)
        {
            if (i < rows[eventNo].markedCount && !all())
            {
                i = nextMarked(rows[eventNo], i);
                if (i >= sizeOf(eventNo))
                    return;
            }
            fire(*rows[eventNo].transitions[i]);
        }
    }

    std::size_t sizeOf(unsigned char eventNo) const
    {
        return eventNo < rows.size() ? rows[eventNo].transitions.size() : 0;
    }

    void noteOnlyOne(std::size_t eventNo)
    {
        const auto& transitions = rows[eventNo].transitions;
        onlyOnes[eventNo] = transitions.size() == 1 && !asDrawn ? transitions.front() : nullptr;
    }

    void choose(const EventRow& row);
    void draw(EventRow& row, const CStateMachine& machine);

    static std::size_t nextMarked(const EventRow& row, std::size_t from);
    void unmark();
    void mark(EventRow& row);
    CActiveMarks& marksOf(CAbstractState& state);

    std::array<CTransition*, 256> onlyOnes{}; // of the rows with one transition: most have no more
    std::vector<EventRow> rows;
    std::vector<std::unique_ptr<CActiveMarks>> marked;
    std::vector<CTransition*> chosen; // a stack, since an event may be handled inside another
    bool asDrawn = false;
};

} // namespace Kiv

#endif
