#include "kiv/machine/TransitionText.h"

#include <kiv/StateMachine.h>
#include <kiv/Transition.h>

namespace Kiv
{

std::string eventText(const CStateMachine& machine, unsigned char eventNo)
{
    const std::string& name = machine.eventName(eventNo);
    return name.empty() ? std::to_string(eventNo) : name;
}

std::string durationText(std::chrono::nanoseconds span)
{
    constexpr struct
    {
        long long nanoseconds;
        const char* name;
    } units[] = {{3600000000000, " h"}, {60000000000, " min"}, {1000000000, " s"}, {1000000, " ms"}, {1000, " us"}};
    for (const auto& unit : units)
        if (span.count() != 0 && span.count() % unit.nanoseconds == 0)
            return std::to_string(span.count() / unit.nanoseconds) + unit.name;
    return std::to_string(span.count()) + " ns";
}

std::string causesText(const CStateMachine& machine, const CTransition& transition)
{
    std::string causes;
    const auto add = [&causes](const std::string& cause) { causes += (causes.empty() ? "" : ", ") + cause; };
    for (const unsigned char event : machine.eventsOf(&transition))
        add(eventText(machine, event));
    if (const auto span = transition.timeout())
        add("after " + durationText(*span));
    if (transition.isFinishedTransition() && transition.name().find("inished") == std::string::npos)
        add("finished");
    return causes;
}

std::string withGuard(const std::string& text, const CTransition& transition)
{
    if (!transition.hasGuard())
        return text;
    return (text.empty() ? "[" : text + " [") + transition.guardName() + "]";
}

} // namespace Kiv
