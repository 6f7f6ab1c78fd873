// Graphviz draws edges between nodes only. One that begins or ends at a group, which is a cluster there, is drawn to a
// node inside it (`headOf`, `tailOf`) and cut off at the cluster's border by lhead and ltail. Where one end contains
// the other there is nothing to cut off: such an edge takes a turn outside, over a node that is its label. What leads
// back up is written the other way round with the arrow at its beginning, so that dot keeps the layers from the initial
// state downwards.

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/DiagramLayers.h"
#include "kiv/machine/DiagramPlan.h"

namespace Kiv
{

namespace
{

constexpr const char* preamble =
    R"(    graph [compound=true, fontname="Helvetica,Arial,sans-serif", fontsize=13, nodesep=0.35, ranksep=0.45, labeljust=l];
    node [shape=box, style="rounded,filled", fillcolor=white, color="#37474f", fontname="Helvetica,Arial,sans-serif",
          fontsize=12, height=0.4, margin="0.16,0.06"];
    edge [color="#546e7a", fontname="Helvetica,Arial,sans-serif", fontsize=10, fontcolor="#263238", arrowsize=0.7];
)";

/// A text in which nothing is an escape, an entity or, in the picture, no character of XML.
std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char character : text)
        if (character == '\n')
            result += "\\n";
        else if (character == '&')
            result += "&amp;";
        else if (static_cast<unsigned char>(character) < ' ')
            result += ' ';
        else
            result += std::string(character == '"' || character == '\\' ? "\\" : "") + character;
    return result + "\"";
}

class CDotWriter
{
public:
    explicit CDotWriter(const CDiagramPlan& diagramPlan) : plan(diagramPlan), layers(diagramPlan) {}

    std::string written()
    {
        text = "digraph " + quoted(plan.machine().name()) + " {\n" + preamble;
        writeGroup(&plan.machine());
        text += "}\n";
        return text;
    }

private:
    void line(const std::string& content) { text += std::string(depth * 4, ' ') + content + "\n"; }

    std::string nodeOf(const CAbstractState* state) const { return quoted(plan.idOf(state)); }
    std::string clusterOf(const CState* group) const { return quoted("cluster " + plan.idOf(group)); }

    std::string initialOf(const CState* group) const
    {
        return quoted(group == &plan.machine() ? "initial" : plan.idOf(group) + " initial");
    }

    /// The node at which an arrow to a state ends.
    std::string headOf(const CAbstractState* state) const
    {
        const CState* const group = asGroup(state);
        if (!group)
            return nodeOf(state);
        return !isParallel(group) && entryOf(group) ? initialOf(group) : headOf(group->children().front());
    }

    /// The node at which an arrow from a state begins: one that stands near the lower border.
    std::string tailOf(const CAbstractState* state) const
    {
        const CState* const group = asGroup(state);
        if (!group)
            return nodeOf(state);
        return tailOf(layers.lowestChild(group));
    }

    void writeGroup(const CState* group)
    {
        ++depth;
        if (const CAbstractState* entry = entryOf(group))
        {
            line(initialOf(group) +
                 " [shape=circle, label=\"\", width=0.13, height=0.13, fixedsize=true, fillcolor=\"#37474f\"];");
            writeEdge(initialOf(group), headOf(entry), cut("lhead", entry));
        }
        for (const CAbstractState* history : group->historyStates())
            writeHistory(history);
        for (const CAbstractState* child : group->children())
            writeState(child, isParallel(group) && group != &plan.machine());
        for (const CTransition* transition : plan.arrowsWithin(group))
            writeTransition(transition);
        --depth;
    }

    void writeHistory(const CAbstractState* history)
    {
        line(nodeOf(history) + " [shape=circle, label=\"" + (isDeep(history) ? "H*" : "H") +
             "\", width=0.28, height=0.28, fixedsize=true, margin=0];");
        if (const CAbstractState* fallback = defaultOf(history))
            writeEdge(nodeOf(history), headOf(fallback), cut("lhead", fallback) + ", style=dotted");
    }

    void writeState(const CAbstractState* state, bool isRegion)
    {
        if (const CState* group = asGroup(state))
            writeCluster(group, isRegion);
        else if (state->stateType() == StateTypeFinal)
            writeFinal(state);
        else
            line(nodeOf(state) + " [label=" + quoted(state->name()) + highlight(state) + "];");
    }

    void writeCluster(const CState* group, bool isRegion)
    {
        line("subgraph " + clusterOf(group) + " {");
        ++depth;
        line("label=" + quoted(group->name()) + ";");
        line("margin=12;");
        line(std::string("style=") + (isRegion ? "\"rounded,dashed,filled\"" : "\"rounded,filled\"") + ";");
        line(isShownActive(group) ? "color=\"#e65100\"; penwidth=2; fillcolor=\"#fff8e1\";"
                                  : "color=\"#90a4ae\"; penwidth=1; fillcolor=\"#eceff1\";");
        --depth;
        writeGroup(group);
        line("}");
    }

    void writeFinal(const CAbstractState* state)
    {
        line(nodeOf(state) + " [label=" + quoted("◉ " + state->name()) + ", fillcolor=\"#37474f\", fontcolor=white" +
             (isShownActive(state) ? ", fontcolor=black" : "") + highlight(state) + "];");
    }

    static std::string highlight(const CAbstractState* state)
    {
        return isShownActive(state) ? R"(, fillcolor="#ffca28", color="#e65100", penwidth=2)" : "";
    }

    /// Cuts an arrow's end ("ltail" or "lhead") off at the border of its state if that is a group.
    std::string cut(const char* end, const CAbstractState* state) const
    {
        const CState* const group = asGroup(state);
        return group ? std::string(", ") + end + "=" + clusterOf(group) : "";
    }

    void writeEdge(const std::string& tail, const std::string& head, const std::string& attributes)
    {
        line(tail + " -> " + head + (attributes.empty() ? "" : " [" + attributes.substr(2) + "]") + ";");
    }

    void writeTransition(const CTransition* transition)
    {
        const CAbstractState* const source = transition->source();
        const CAbstractState* const target = transition->target();
        const std::string label = plan.labelOf(transition);
        const std::string style = transition->isFinishedTransition() ? ", style=dashed"
                                  : transition->isInternal()         ? ", style=dotted"
                                                                     : "";
        const bool isTurn =
            (asGroup(source) && contains(source, target)) || (asGroup(target) && contains(target, source));
        if (isTurn)
            return writeTurn(transition, label, style);
        const std::string shown = label.empty() ? style : ", label=" + quoted(" " + label + " ") + style;
        if (layers.leadsBack(transition))
            writeEdge(tailOf(target), headOf(source),
                      shown + cut("ltail", target) + cut("lhead", source) + ", dir=back");
        else
            writeEdge(tailOf(source), headOf(target), shown + cut("ltail", source) + cut("lhead", target));
    }

    void writeTurn(const CTransition* transition, const std::string& label, const std::string& style)
    {
        const CAbstractState* const source = transition->source();
        const CAbstractState* const target = transition->target();
        const std::string turn = quoted("turn " + std::to_string(++turns));
        const bool leavesGroup = contains(source, target);
        const bool entersGroup = contains(target, source);
        line(turn + " [shape=plain, style=\"\", margin=0, fontsize=10, label=" + quoted(label) + "];");
        writeEdge(tailOf(source), turn, (leavesGroup ? cut("ltail", source) : "") + ", arrowhead=none" + style);
        writeEdge(turn, headOf(target), (entersGroup ? cut("lhead", target) : "") + style);
    }

    const CDiagramPlan& plan;
    const CDiagramLayers layers;
    std::size_t depth = 0;
    int turns = 0;
    std::string text;
};

} // namespace

std::string dotDiagram(const CDiagramPlan& plan) { return CDotWriter(plan).written(); }

} // namespace Kiv
