/// From top to bottom: where the states of a diagram come to stand; private.
#ifndef KIV_DIAGRAMLAYERS_H
#define KIV_DIAGRAMLAYERS_H

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

#include "kiv/machine/DiagramPlan.h"

namespace Kiv
{

/// Puts the children of each group into layers, the initial state on top and what its transitions lead to below it, and
/// finds the transitions that lead back up.
class CDiagramLayers
{
public:
    explicit CDiagramLayers(const CDiagramPlan& diagramPlan) : plan(diagramPlan) { heightOf(&plan.machine()); }

    bool leadsBack(const CTransition* transition) const { return backward.count(transition) != 0; }

    /// The child of a group that reaches down furthest.
    const CAbstractState* lowestChild(const CState* group) const { return lowest.at(group); }

private:
    struct Arrow
    {
        const CAbstractState* target;
        const CTransition* transition;
    };
    using Arrows = std::unordered_map<const CAbstractState*, std::vector<Arrow>>;
    using States = std::vector<const CAbstractState*>;

    static const CAbstractState* childWithin(const CState* group, const CAbstractState* state)
    {
        while (state->parentState() != group)
            state = state->parentState();
        return state;
    }

    Arrows arrowsOf(const CState* group) const
    {
        Arrows result;
        for (const CTransition* transition : plan.arrowsWithin(group))
        {
            const CAbstractState* const from = childWithin(group, transition->source());
            const CAbstractState* const to = childWithin(group, transition->target());
            if (from != to)
                result[from].push_back({to, transition});
        }
        for (const CAbstractState* history : group->historyStates())
            if (const CAbstractState* fallback = defaultOf(history))
                result[history].push_back({fallback, nullptr});
        return result;
    }

    /// Depth first: an arrow to a state that is still on the way leads back. `finished` gets a state after all that
    /// lies below it.
    void walk(const CAbstractState* state, const Arrows& arrows, States& onTheWay, States& finished)
    {
        const auto has = [](const States& list, const CAbstractState* wanted) {
            return std::find(list.begin(), list.end(), wanted) != list.end();
        };
        if (has(finished, state))
            return;
        onTheWay.push_back(state);
        if (const auto found = arrows.find(state); found != arrows.end())
        {
            for (const Arrow& arrow : found->second)
                if (has(onTheWay, arrow.target))
                    backward.insert(arrow.transition);
                else
                    walk(arrow.target, arrows, onTheWay, finished);
        }
        onTheWay.pop_back();
        finished.push_back(state);
    }

    int heightOf(const CAbstractState* state)
    {
        const CState* const group = state == &plan.machine() ? &plan.machine() : asGroup(state);
        return group && !group->children().empty() ? 1 + stack(group) : 1;
    }

    int stack(const CState* group)
    {
        const Arrows arrows = arrowsOf(group);
        States onTheWay;
        States finished;
        if (const CAbstractState* entry = entryOf(group))
            walk(entry, arrows, onTheWay, finished);
        for (const CAbstractState* child : group->children())
            walk(child, arrows, onTheWay, finished);
        std::unordered_map<const CAbstractState*, int> top;
        int deepest = -1;
        for (auto state = finished.rbegin(); state != finished.rend(); ++state)
        {
            const int bottom = top[*state] + heightOf(*state);
            if (bottom > deepest && (*state)->stateType() != StateTypeHistory)
            {
                deepest = bottom;
                lowest[group] = *state;
            }
            if (const auto found = arrows.find(*state); found != arrows.end())
                for (const Arrow& arrow : found->second)
                    if (!leadsBack(arrow.transition))
                        top[arrow.target] = std::max(top[arrow.target], bottom);
        }
        return deepest;
    }

    const CDiagramPlan& plan;
    std::unordered_set<const CTransition*> backward;
    std::unordered_map<const CState*, const CAbstractState*> lowest;
};

} // namespace Kiv

#endif
