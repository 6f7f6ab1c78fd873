#include <kiv/StateMachineDiagram.h>

#include <cstdio>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/DiagramPlan.h"

namespace Kiv
{

namespace
{

/// Mermaid's state diagrams and PlantUML's, which agree in all but a few words.
class CNestedWriter
{
public:
    CNestedWriter(const CDiagramPlan& diagramPlan, eDiagramFormat language)
        : plan(diagramPlan), mermaid(language == DiagramMermaid)
    {}

    std::string written()
    {
        line(mermaid ? "stateDiagram-v2" : "@startuml");
        if (!mermaid)
            line("hide empty description");
        writeGroup(&plan.machine());
        if (mermaid)
            writeClasses();
        else
            line("@enduml");
        return text;
    }

private:
    void line(const std::string& content) { text += std::string(depth * 4, ' ') + content + "\n"; }

    void writeGroup(const CState* group)
    {
        depth += group != &plan.machine() || mermaid;
        if (const CAbstractState* entry = entryOf(group))
            line("[*] --> " + plan.idOf(entry));
        for (const CAbstractState* history : group->historyStates())
            writeHistory(history);
        bool first = true;
        for (const CAbstractState* child : group->children())
        {
            if (!first && hasRegions(group))
                line("--");
            first = false;
            writeState(child);
        }
        if (!hasRegions(group))
            writeArrows(group);
        depth -= group != &plan.machine() || mermaid;
    }

    bool hasRegions(const CState* group) const { return isParallel(group) && group != &plan.machine(); }

    void writeHistory(const CAbstractState* history)
    {
        const std::string& id = plan.idOf(history);
        if (isDeep(history))
            line(mermaid ? "state \"H#42;\" as " + id : "state \"H*\" as " + id + " <<history*>>");
        else
            line("state \"H\" as " + id + (mermaid ? "" : " <<history>>"));
        if (const CAbstractState* fallback = defaultOf(history))
            line(id + " --> " + plan.idOf(fallback));
    }

    void writeState(const CAbstractState* state)
    {
        const std::string& id = plan.idOf(state);
        const CState* const group = asGroup(state);
        if (mermaid && !group && id == state->name())
            line(id); // with the word `state` it would run into a group that follows
        else
            line("state " + shownName(state) + (mermaid ? "" : plantUmlColour(state)) + (group ? " {" : ""));
        if (group)
        {
            writeGroup(group);
            line("}");
        }
        if (state->stateType() == StateTypeFinal)
            line(id + " --> [*]");
    }

    std::string shownName(const CAbstractState* state) const
    {
        const std::string& id = plan.idOf(state);
        const std::string name = escaped(state->name());
        const bool isPlain = id == state->name() && id.find("__") == id.npos; // two would underline the rest
        return isPlain || isBlank(name) ? id : "\"" + name + "\" as " + id;
    }

    /// With the arrows between the regions of parallel groups below: they belong into none of the regions.
    void writeArrows(const CState* group)
    {
        for (const CTransition* transition : plan.arrowsWithin(group))
        {
            const std::string label = escaped(plan.labelOf(transition));
            line(plan.idOf(transition->source()) + " --> " + plan.idOf(transition->target()) +
                 (isBlank(label) ? "" : " : " + label));
        }
        for (const CAbstractState* child : group->children())
            if (const CState* inner = asGroup(child); inner && isParallel(inner))
                writeArrows(inner);
    }

    static std::string plantUmlColour(const CAbstractState* state)
    {
        if (!isShownActive(state))
            return "";
        return asGroup(state) ? " #line:E65100;line.bold" : " #FFE082;line:E65100;line.bold";
    }

    void writeClasses()
    {
        depth = 1;
        std::string states;
        std::string groups;
        for (const CAbstractState* state : plan.states())
            if (isShownActive(state))
            {
                std::string& list = asGroup(state) ? groups : states;
                list += (list.empty() ? "" : ",") + plan.idOf(state);
            }
        writeClass("active", "fill:#ffe082,stroke:#e65100,stroke-width:2px,color:#000000", states);
        writeClass("activeGroup", "stroke:#e65100,stroke-width:2px", groups);
    }

    void writeClass(const std::string& name, const std::string& style, const std::string& members)
    {
        if (members.empty())
            return;
        line("classDef " + name + " " + style);
        line("class " + members + " " + name);
    }

    /// Only what neither language could take for a sign of its own stays as it is.
    std::string escaped(const std::string& name) const
    {
        std::string result;
        for (std::size_t i = 0; i < name.size(); ++i)
        {
            const auto code = static_cast<unsigned char>(name[i]);
            const bool plain = code >= 0x80 || code == ' ' || (code > ' ' && !isSign(name, i));
            if (plain)
                result += name[i];
            else if (code < ' ' || code == 0x7f)
                result += ' ';
            else
                result += mermaid ? "#" + std::to_string(code) + ";" : inPlantUml(code);
        }
        return result;
    }

    /// PlantUML takes neither an empty name nor a colon with nothing behind it.
    static bool isBlank(const std::string& text) { return text.find_first_not_of(' ') == text.npos; }

    static std::string inPlantUml(unsigned char code)
    {
        char text[16];
        std::snprintf(text, sizeof text, "<U+%04X>", static_cast<unsigned>(code));
        return text;
    }

    bool isSign(const std::string& name, std::size_t i) const
    {
        static const std::string ofBoth = "\"#%&:;<>[\\]{}|~*^`\x7f";
        return ofBoth.find(name[i]) != ofBoth.npos || (!mermaid && isSignInPlantUml(name, i));
    }

    /// A quote makes comments, an equals sign headings, plus and minus in front pictograms; doubled, some are ways of
    /// writing.
    static bool isSignInPlantUml(const std::string& name, std::size_t i)
    {
        static const std::string whenDoubled = "/-_.";
        const bool isDoubled = (i > 0 && name[i - 1] == name[i]) || (i + 1 < name.size() && name[i + 1] == name[i]);
        const bool isInFront = i == 0 && (name[i] == '+' || name[i] == '-');
        return name[i] == '\'' || name[i] == '=' || isInFront ||
               (isDoubled && whenDoubled.find(name[i]) != whenDoubled.npos);
    }

    const CDiagramPlan& plan;
    const bool mermaid;
    std::size_t depth = 0;
    std::string text;
};

} // namespace

std::string stateMachineDiagram(const CStateMachine& machine, eDiagramFormat format)
{
    const CDiagramPlan plan(machine);
    return format == DiagramDot ? dotDiagram(plan) : CNestedWriter(plan, format).written();
}

} // namespace Kiv
