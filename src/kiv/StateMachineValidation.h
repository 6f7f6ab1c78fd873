/// Looks for what would go wrong in a state machine before it is started.
#ifndef KIV_STATEMACHINEVALIDATION_H
#define KIV_STATEMACHINEVALIDATION_H

#include <string>
#include <vector>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CStateMachine;

/// What validate() looks for.
enum eFindingType : int
{
    FindingNoInitialState = 0,           ///< a group that is entered has none, or the machine has none
    FindingForeignInitialState = 1,      ///< it does not belong to the group
    FindingNoDefaultState = 2,           ///< a history state may be entered before there is anything to remember
    FindingTwoHistoryStates = 3,         ///< in one group; only the last one remembers
    FindingUnreachableState = 4,         ///< neither entered with its group nor by a transition from a reachable state
    FindingImpossibleTransition = 5,     ///< it never fires: no target, one that contains the source, one elsewhere
    FindingInwardTransition = 6,         ///< into its own source, which it leaves inactive
    FindingChainedTransitions = 7,       ///< one event fires a transition and then another from where that one led to
    FindingEventWithoutTransition = 8,   ///< an event is posted that fires nothing
    FindingTransitionWithoutEvent = 9,   ///< a transition waits for events that nobody posts
    FindingDuplicateName = 10,           ///< two states of one path
    FindingShadowedTransition = 11,      ///< an earlier one of its state always takes the event
    FindingInnerAndOuterTransition = 12, ///< of one event: both fire, or the outer one alone; not in dispatch as drawn
    FindingEventRing = 13                ///< of one event, which goes several links at once; not in dispatch as drawn
};

/// One fault of a machine.
struct MachineFinding
{
    eFindingType type;    ///< what kind of fault it is
    std::string path;     ///< of the state that it concerns, see CAbstractState::path()
    std::string sentence; ///< what is wrong and what comes of it, with the paths of all states concerned
};

/// Everything that would go wrong, the faults of each group and of its states in their order; empty for a sound
/// machine.
///
/// Call it once when the machine is built and log what it says: the framework itself reports misuse late or never. What
/// an application does on purpose, such as one event that leads through two transitions, is told by its type.
///
/// A transition counts as a way whatever fires it, and an exclusive group needs an initial state only if some way
/// enters it without naming a child. `postedEvents` are the numbers of the events that the application posts; if it is
/// empty, nothing is said about events without transition and transitions without event.
///
/// Threads: any, as long as nobody adds to the machine.
/// Errors: throws std::bad_alloc only.
KIV_API std::vector<MachineFinding> validate(const CStateMachine& machine,
                                             const std::vector<unsigned char>& postedEvents = {});

} // namespace Kiv

#endif
