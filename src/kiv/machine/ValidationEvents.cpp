#include <algorithm>

#include "kiv/machine/TransitionText.h"
#include "kiv/machine/ValidationEntries.h"

namespace Kiv
{

namespace
{

bool isInside(const CAbstractState* inner, const CAbstractState* outer)
{
    for (const CState* group = inner->parentState(); group; group = group->parentState())
        if (group == outer)
            return true;
    return false;
}

class CEventFaults
{
public:
    CEventFaults(const CStateMachine& machine, unsigned char event, std::vector<MachineFinding>& all)
        : subject("Event " + eventText(machine, event)),
          isAsDrawn(machine.dispatch() == CStateMachine::DispatchAsDrawn), findings(all)
    {
        for (const CTransition* transition : machine.transitionsOf(event))
            if (commonParent(transition))
                row.push_back(transition);
    }

    void find()
    {
        for (std::size_t first = 0; first < row.size(); ++first)
            for (std::size_t second = 0; second < row.size(); ++second)
                comparePair(first, second);
        if (!isAsDrawn)
            findRing();
    }

private:
    void report(eFindingType type, const CTransition* transition, const std::string& sentence)
    {
        findings.push_back({type, transition->source()->path(), sentence + "."});
    }

    void comparePair(std::size_t first, std::size_t second)
    {
        const CTransition* const one = row[first];
        const CTransition* const other = row[second];
        const bool isEarlier = first < second;
        if (isEarlier && one->source() == other->source() && shadows(one, other))
            report(FindingShadowedTransition, other,
                   subject + " never fires the " + described(other) + ", because the " + described(one) +
                       " was registered earlier and " + (one->hasGuard() ? "has the same guard" : "has no guard"));
        if (isAsDrawn)
            return;
        if (isEarlier && leadsTo(one, other))
            report(FindingChainedTransitions, one,
                   subject + " fires the " + described(one) + " and then, at once, the " + described(other) +
                       ", which was registered later");
        if (isInside(one->source(), other->source()))
            report(FindingInnerAndOuterTransition, one,
                   subject + " fires the " + described(one) + " and that of " + other->source()->path() +
                       ", in which it " +
                       "lies, too, or the outer one alone, as they were registered; dispatch as drawn fires the inner "
                       "one");
    }

    /// True if the second, of the same state, can never fire.
    bool shadows(const CTransition* one, const CTransition* other) const
    {
        const bool alwaysTakes =
            !one->hasGuard() || (!one->guardName().empty() && one->guardName() == other->guardName());
        return alwaysTakes && (isAsDrawn || (!one->isInternal() && !leadsTo(one, other)));
    }

    static bool leadsTo(const CTransition* one, const CTransition* other)
    {
        if (one->isInternal())
            return false;
        CEntries entries;
        entries.follow(one);
        return entries.isEntered(other->source());
    }

    /// Looks from each transition on; the first that comes back to itself tells of the ring.
    void findRing()
    {
        for (std::size_t begin = 0; begin < row.size(); ++begin)
        {
            std::vector<std::size_t> reached{begin};
            for (std::size_t at = 0; at < reached.size(); ++at)
                for (std::size_t next = 0; next < row.size(); ++next)
                {
                    if (next == reached[at] || !leadsTo(row[reached[at]], row[next]))
                        continue;
                    if (next == begin)
                        return reportRing(row[begin]);
                    if (std::find(reached.begin(), reached.end(), next) == reached.end())
                        reached.push_back(next);
                }
        }
    }

    void reportRing(const CTransition* transition)
    {
        report(FindingEventRing, transition,
               subject + " leads from " + transition->source()->path() +
                   " back to it in a ring, of which one event goes several links in any order of registration; "
                   "dispatch as "
                   "drawn goes one");
    }

    const std::string subject;
    const bool isAsDrawn;
    std::vector<const CTransition*> row;
    std::vector<MachineFinding>& findings;
};

} // namespace

void findEventFaults(const CStateMachine& machine, unsigned char event, std::vector<MachineFinding>& findings)
{
    CEventFaults(machine, event, findings).find();
}

} // namespace Kiv
