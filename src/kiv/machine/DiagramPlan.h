/// What the diagrams of a state machine share, whatever their language; private.
#ifndef KIV_DIAGRAMPLAN_H
#define KIV_DIAGRAMPLAN_H

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include <kiv/State.h>

namespace Kiv
{

/// The states in the order of drawing, each with an identifier, and the transitions that are drawn.
///
/// An identifier is the state's name as far as that is possible: letters, digits and underscores, not a word of one of
/// the languages, and different from all others, also where capital letters do not count.
class CDiagramPlan
{
public:
    explicit CDiagramPlan(const CStateMachine& machine);

    const CStateMachine& machine() const { return subject; }

    /// All states, each group before its children, a group's history states before the others.
    const std::vector<const CAbstractState*>& states() const { return ordered; }

    const std::string& idOf(const CAbstractState* state) const { return ids.at(state); }

    /// The transitions whose arrows belong into this group: it is the innermost that contains source and target without
    /// being one of them.
    const std::vector<const CTransition*>& arrowsWithin(const CState* group) const;

    /// The name, in parentheses what fires it, and in brackets its guard; may be empty.
    std::string labelOf(const CTransition* transition) const;

private:
    void addGroup(const CState* group);
    void addState(const CAbstractState* state);
    void addArrows(const CState* source);

    const CStateMachine& subject;
    std::vector<const CAbstractState*> ordered;
    std::unordered_map<const CAbstractState*, std::string> ids;
    std::set<std::string> usedIds;
    std::unordered_map<const CState*, std::vector<const CTransition*>> arrows;
};

/// The state as a group; null if it has no children.
const CState* asGroup(const CAbstractState* state);

inline bool isParallel(const CState* group) { return group->childMode() == CState::ChildModeParallel; }

/// The state that an entry goes to, if it belongs to the group.
const CAbstractState* entryOf(const CState* group);

/// True for a history state that resumes all levels.
bool isDeep(const CAbstractState* history);

/// The default state of a history state that can be entered by it.
const CAbstractState* defaultOf(const CAbstractState* history);

/// True for active states; history states, which stay active once they were entered, are never shown so.
inline bool isShownActive(const CAbstractState* state)
{
    return state->isActive() && state->stateType() != StateTypeHistory;
}

/// True if `outer` is `inner` or contains it.
bool contains(const CAbstractState* outer, const CAbstractState* inner);

/// The writer of StateMachineDiagramDot.cpp.
std::string dotDiagram(const CDiagramPlan& plan);

} // namespace Kiv

#endif
