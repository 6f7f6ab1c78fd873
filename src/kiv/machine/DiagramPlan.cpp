#include "kiv/machine/DiagramPlan.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/TransitionText.h"

namespace Kiv
{

namespace
{

// Words that open a statement in one of the languages, or mean the whole diagram.
constexpr const char* reservedWords[] = {
    "as",   "class", "classdef", "click",  "default",   "direction", "end",    "footer",  "header",
    "hide", "json",  "left",     "legend", "map",       "note",      "remove", "restore", "right",
    "root", "scale", "show",     "skin",   "skinparam", "sprite",    "state",  "style",   "title",
};

std::string lowered(std::string text)
{
    for (char& character : text)
        if ('A' <= character && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return text;
}

bool isIdCharacter(char character)
{
    const char small = static_cast<char>(character | 0x20);
    return ('a' <= small && small <= 'z') || ('0' <= character && character <= '9') || character == '_';
}

std::string toId(const std::string& name)
{
    std::string id = name;
    std::replace_if(
        id.begin(), id.end(), [](char character) { return !isIdCharacter(character); }, '_');
    if (id.empty() || ('0' <= id[0] && id[0] <= '9'))
        id.insert(0, "state");
    const std::string word = lowered(id);
    const bool reserved = std::any_of(std::begin(reservedWords), std::end(reservedWords),
                                      [&](const char* other) { return word == other; });
    return reserved ? id + "_" : id;
}

/// The innermost group that contains both without being one of them.
const CState* scopeOf(const CAbstractState* source, const CAbstractState* target)
{
    const CState* group = source->parentState();
    while (group && (group == target || !contains(group, target)))
        group = group->parentState();
    return group;
}

} // namespace

bool contains(const CAbstractState* outer, const CAbstractState* inner)
{
    while (inner && inner != outer)
        inner = inner->parentState();
    return inner != nullptr;
}

const CState* asGroup(const CAbstractState* state)
{
    if (state->stateType() != StateTypeState)
        return nullptr;
    const auto* const group = static_cast<const CState*>(state);
    return group->children().empty() ? nullptr : group;
}

const CAbstractState* entryOf(const CState* group)
{
    const CAbstractState* const initial = group->initialState();
    return initial && initial->parentState() == group ? initial : nullptr;
}

const CAbstractState* defaultOf(const CAbstractState* history)
{
    return static_cast<const CHistoryState*>(history)->defaultState();
}

bool isDeep(const CAbstractState* history)
{
    return static_cast<const CHistoryState*>(history)->historyType() == HistoryDeep;
}

CDiagramPlan::CDiagramPlan(const CStateMachine& drawn) : subject(drawn)
{
    addGroup(&subject);
    for (const CAbstractState* state : ordered)
        if (state->stateType() == StateTypeState)
            addArrows(static_cast<const CState*>(state));
}

void CDiagramPlan::addGroup(const CState* group)
{
    for (const CAbstractState* history : group->historyStates())
        addState(history);
    for (const CAbstractState* child : group->children())
    {
        addState(child);
        if (const CState* inner = asGroup(child))
            addGroup(inner);
    }
}

void CDiagramPlan::addState(const CAbstractState* state)
{
    const std::string plain = toId(state->name());
    std::string id = plain;
    for (int number = 2; !usedIds.insert(lowered(id)).second; ++number)
        id = plain + "_" + std::to_string(number);
    ordered.push_back(state);
    ids.emplace(state, id);
}

void CDiagramPlan::addArrows(const CState* source)
{
    for (const CTransition* transition : source->transitions())
        if (transition->source() == source && transition->target() && ids.count(transition->target()) != 0)
            arrows[scopeOf(source, transition->target())].push_back(transition);
}

const std::vector<const CTransition*>& CDiagramPlan::arrowsWithin(const CState* group) const
{
    static const std::vector<const CTransition*> none;
    const auto found = arrows.find(group);
    return found == arrows.end() ? none : found->second;
}

std::string CDiagramPlan::labelOf(const CTransition* transition) const
{
    const std::string causes = causesText(subject, *transition);
    const std::string& name = transition->name();
    const std::string cause = causes.empty() || name.empty() ? name : name + " ";
    std::string label = withGuard(causes.empty() ? name : cause + "(" + causes + ")", *transition);
    if (!transition->isInternal())
        return label;
    return label.empty() ? "internal" : "internal: " + label;
}

} // namespace Kiv
