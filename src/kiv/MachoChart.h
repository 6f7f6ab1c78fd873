/// The shape of a typed state machine as data: names, hierarchy and arrows, for pictures, logs and traces.
#ifndef KIV_MACHOCHART_H
#define KIV_MACHOCHART_H

#include <cstddef>

namespace Macho
{

/// What a chart says of a state. Numbers of states are their places in the chart; the root is 0.
struct ChartState
{
    const char* name;         ///< `static constexpr const char* name` of the state, otherwise its type's
    std::size_t superState;   ///< its number; that of the root for the root itself
    std::size_t initialState; ///< its number; the state's own for none
    bool isRemembered;        ///< it has a history
};

/// How an arrow enters its target.
enum eEntryKind : unsigned char
{
    EntryDefault = 0,
    EntryHistory = 1,
    EntryDeepHistory = 2,
    EntryAdapting = 3
};

/// A transition that a state may ask for.
struct ChartArrow
{
    std::size_t source; ///< the state whose on() may return it
    std::size_t target; ///< where it leads
    std::size_t event;  ///< number of the event; Chart::entryAction or Chart::initialAction
    eEntryKind kind;    ///< how it enters
};

/// States, events and arrows of a machine. Everything lies in constant tables that live as long as the program.
struct Chart
{
    static constexpr std::size_t entryAction = static_cast<std::size_t>(-1);   ///< asked for by on(Entry)
    static constexpr std::size_t initialAction = static_cast<std::size_t>(-2); ///< asked for by on(Initial)

    const ChartState* states;  ///< the root, then in the order of the root's States
    std::size_t stateCount;    ///< with the root
    const char* const* events; ///< names, in the order of the root's Events
    std::size_t eventCount;    ///< how many they are
    const ChartArrow* arrows;  ///< by source, then by event
    std::size_t arrowCount;    ///< how many they are
    const bool* handled;       ///< for handles()

    /// True if the state itself has an on() for the event.
    bool handles(std::size_t state, std::size_t event) const { return handled[state * eventCount + event]; }
};

} // namespace Macho

#endif
