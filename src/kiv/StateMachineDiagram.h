/// Pictures of a state machine, drawn from the machine itself.
#ifndef KIV_STATEMACHINEDIAGRAM_H
#define KIV_STATEMACHINEDIAGRAM_H

#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CStateMachine;

/// The languages in which a diagram can be written.
enum eDiagramFormat : int
{
    DiagramMermaid = 0, ///< for Markdown pages, whose viewers draw it
    DiagramDot = 1,     ///< for Graphviz: `dot -Tsvg` makes a picture file of it
    DiagramPlantUml = 2 ///< for PlantUML
};

/// A machine's states and transitions as the text of a diagram.
///
/// Groups contain their children, the regions of a parallel group stand side by side, initial, history and final states
/// have their usual signs. An arrow bears its transition's name, in parentheses the names or numbers of the events
/// that fire it or "after 30 s", and in brackets the name of its guard. An internal transition is an arrow from its
/// state to itself that says "internal", a deep history is H*. An arrow that fires when its source has finished is
/// drawn dashed where the format can, and says "finished" if its name does not. The states that are active are
/// highlighted: none before start() and after stop(). The same machine in the same states gives the same text.
///
/// What leads nowhere is left out: a transition without target or to another machine's state, those of the machine
/// itself, an initial state that is no child of its group. validate() names them.
///
/// Threads: any, once the machine is built; a machine that runs meanwhile is shown with the states that were active at
/// various moments of the call.
/// Errors: throws std::bad_alloc only. Names may hold any text; what is not UTF-8 reaches the diagram as it is.
KIV_API std::string stateMachineDiagram(const CStateMachine& machine, eDiagramFormat format);

} // namespace Kiv

#endif
