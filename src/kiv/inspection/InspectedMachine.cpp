#include "kiv/inspection/InspectedMachine.h"

#include <kiv/StateMachineValidation.h>
#include <kiv/Transition.h>

#include "kiv/text/JsonText.h"

namespace Kiv
{

namespace
{

constexpr std::size_t traceCapacity = 4096; // 50 ms of 80,000 records a second

const char* typeOf(const CAbstractState* state)
{
    switch (state->stateType())
    {
    case StateTypeFinal:
        return "final";
    case StateTypeHistory:
        return "history";
    case StateTypeState:
        break;
    }
    return "state";
}

const char* verbOf(eTraceRecordType type)
{
    switch (type)
    {
    case TraceStateEntered:
        return "entered";
    case TraceStateLeft:
        return "left";
    case TraceTransitionFired:
        return "fired";
    case TraceEventHandled:
        return "handled";
    case TraceEventDropped:
    case TraceTransitionDropped:
        break;
    }
    return "dropped";
}

std::string recordText(const TraceRecord& record)
{
    CJsonObject object;
    object.addNumber("time_ns", record.time_ns)
        .addNumber("thread", record.threadId)
        .addText("what", verbOf(record.type));
    if (record.subject.empty())
        object.addNumber("event", record.eventNo);
    else
        object.addText("subject", record.subject);
    return object.text();
}

} // namespace

CInspectedMachine::CInspectedMachine(CStateMachine& machine, const std::string& name)
    : subject(machine), shownName(name)
{
    addGroup(&machine);
    structure = structureText();
}

std::string CInspectedMachine::structureText() const
{
    std::vector<std::string> stateTexts;
    std::vector<std::string> transitions;
    for (std::size_t index = 0; index < states.size(); ++index)
    {
        stateTexts.push_back(stateText(states[index]));
        if (states[index]->stateType() == StateTypeState)
            for (const CTransition* transition : static_cast<const CState*>(states[index])->transitions())
                transitions.push_back(transitionText(transition, index));
    }
    std::vector<std::string> findings;
    for (const MachineFinding& finding : validate(subject))
        findings.push_back(jsonString(finding.sentence));
    return ",\"states\":" + jsonArray(stateTexts) + ",\"transitions\":" + jsonArray(transitions) +
           ",\"findings\":" + jsonArray(findings);
}

std::string CInspectedMachine::stateText(const CAbstractState* state) const
{
    const CState* const parent = state->parentState();
    const bool isParallel = state->stateType() == StateTypeState &&
                            static_cast<const CState*>(state)->childMode() == CState::ChildModeParallel;
    CJsonObject object;
    object.addText("name", state->name()).addText("path", state->path()).addText("type", typeOf(state));
    object.addNumber("parent", parent == &subject ? -1 : indices.at(parent));
    return object.addBool("initial", parent->initialState() == state).addBool("parallel", isParallel).text();
}

std::string CInspectedMachine::transitionText(const CTransition* transition, std::size_t source) const
{
    std::vector<std::string> events;
    for (const unsigned event : subject.eventsOf(transition))
        events.push_back(std::to_string(event));
    const auto target = indices.find(transition->target());
    CJsonObject object;
    object.addText("name", transition->name()).addNumber("source", static_cast<std::int64_t>(source));
    object.addNumber("target", target == indices.end() ? -1 : target->second);
    return object.addBool("finished", transition->isFinishedTransition()).add("events", jsonArray(events)).text();
}

void CInspectedMachine::addGroup(const CState* group)
{
    const auto add = [&](const CAbstractState* state) {
        indices.emplace(state, static_cast<int>(states.size()));
        states.push_back(state);
    };
    for (const CAbstractState* history : group->historyStates())
        add(history);
    for (const CAbstractState* child : group->children())
    {
        add(child);
        if (child->stateType() == StateTypeState)
            addGroup(static_cast<const CState*>(child));
    }
}

std::string CInspectedMachine::active() const
{
    std::vector<std::string> indexTexts;
    for (std::size_t index = 0; index < states.size(); ++index)
        if (states[index]->isActive() && states[index]->stateType() != StateTypeHistory)
            indexTexts.push_back(std::to_string(index));
    return jsonArray(indexTexts);
}

std::string CInspectedMachine::figures() const
{
    CJsonObject object;
    object.addText("name", shownName).addNumber("pending", subject.pendingEvents());
    object.addNumber("dropped", static_cast<std::int64_t>(subject.droppedEvents())).add("active", active());
    const std::string text = object.text();
    return text.substr(0, text.size() - 1);
}

std::string CInspectedMachine::state() const
{
    return figures() + (subject.isAsync() ? ",\"async\":true" : ",\"async\":false") + structure + '}';
}

void CInspectedMachine::setWatched(bool watched)
{
    if (watched == (trace != nullptr))
        return;
    tracePosition = 0;
    trace = watched ? std::make_unique<CStateMachineTrace>(subject, traceCapacity) : nullptr;
    if (!trace)
        return;
    trace->start();
    lastFigures = figures();
}

std::string CInspectedMachine::changes()
{
    if (!trace)
        return "";
    std::uint64_t lost = 0;
    std::vector<std::string> records;
    for (const TraceRecord& record : trace->recordsSince(tracePosition, lost))
        records.push_back(recordText(record));
    const std::string now = figures();
    if (records.empty() && lost == 0 && now == lastFigures)
        return "";
    lastFigures = now;
    return now + ",\"lost\":" + std::to_string(lost) + ",\"records\":" + jsonArray(records) + '}';
}

} // namespace Kiv
