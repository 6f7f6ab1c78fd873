#include "LookView.h"

#include <algorithm>
#include <cstdio>

#include "Command.h"

namespace Tool
{

namespace
{

using nlohmann::json;

constexpr std::size_t happenedLines = 12;

/// Without what would move a terminal's cursor or change its colours.
std::string harmless(std::string text)
{
    for (char& character : text)
        if (static_cast<unsigned char>(character) < ' ' || character == '\x7f')
            character = ' ';
    return text;
}

std::string textOf(const json& object, const char* member) { return harmless(object.value(member, std::string())); }

std::string seconds(long long time_ns)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.6f", static_cast<double>(time_ns) / 1e9);
    return text;
}

std::string recordLine(const std::string& machine, const json& record)
{
    const std::string subject =
        record.contains("event") ? "event " + std::to_string(record["event"].get<int>()) : textOf(record, "subject");
    return seconds(record.value("time_ns", 0LL)) + "  " + machine + ": " + textOf(record, "what") + ' ' + subject;
}

/// The steps up to the machine.
std::size_t depthOf(const json& states, std::size_t index)
{
    std::size_t depth = 0;
    for (long long parent = states[index].value("parent", -1LL); parent >= 0 && depth <= states.size(); ++depth)
        parent = states.at(static_cast<std::size_t>(parent)).value("parent", -1LL);
    return depth;
}

bool isActive(const json& machine, std::size_t index)
{
    const json& active = machine.at("active");
    return std::find(active.begin(), active.end(), json(index)) != active.end();
}

} // namespace

json parsedLine(const std::string& line)
{
    json parsed = json::parse(line, nullptr, false);
    if (parsed.is_discarded() || !parsed.is_object())
        throw CToolError(ExitFailed, "the answer is no JSON object");
    if (textOf(parsed, "kind") == "error")
        throw CToolError(ExitFailed, textOf(parsed, "text"));
    return parsed;
}

void CLookView::take(const json& line)
{
    if (line.value("kind", "") == "state")
        state = line;
    if (line.value("kind", "") != "changes")
        return;
    for (const char* list : {"timers", "values"})
        state[list] = line.at(list);
    for (const json& change : line.at("machines"))
    {
        for (json& machine : state["machines"])
            if (machine.at("name") == change.at("name"))
                for (const char* figure : {"pending", "dropped", "active"})
                    machine[figure] = change.at(figure);
        for (const json& record : change.at("records"))
            happened.push_back(recordLine(textOf(change, "name"), record));
        if (const long long lost = change.value("lost", 0LL); lost > 0)
            happened.push_back(std::to_string(lost) + " records lost");
    }
    while (happened.size() > happenedLines)
        happened.pop_front();
}

std::string CLookView::text() const
{
    std::string result = textOf(greeting, "name") + "  process " + std::to_string(greeting.value("pid", 0)) + '\n';
    for (const json& machine : state.at("machines"))
        result += '\n' + machineText(machine);
    for (const json& timer : state.at("timers"))
        result += "\ntimer " + textOf(timer, "name") + ": " + std::to_string(timer.value("interval_ms", 0LL)) +
                  " ms, " + (timer.value("running", false) ? "running" : "stopped");
    for (const json& value : state.at("values"))
        result += '\n' + textOf(value, "name") + ": " + textOf(value, "value");
    if (!state.at("timers").empty() || !state.at("values").empty())
        result += '\n';
    for (const std::string& line : happened)
        result += '\n' + line;
    return result + (happened.empty() ? "" : "\n");
}

std::string CLookView::machineText(const json& machine) const
{
    std::string result = textOf(machine, "name") + "  " + std::to_string(machine.value("pending", 0LL)) + " waiting, " +
                         std::to_string(machine.value("dropped", 0LL)) + " dropped\n";
    const json& states = machine.at("states");
    for (std::size_t index = 0; index < states.size(); ++index)
        if (states[index].value("type", "") != "history")
            result += (isActive(machine, index) ? "> " : "  ") + std::string(2 * depthOf(states, index), ' ') +
                      textOf(states[index], "name") + '\n';
    for (const json& finding : machine.at("findings"))
        result += "! " + harmless(finding.get<std::string>()) + '\n';
    return result;
}

CLookTrace::CLookTrace(const json& stateLine) : last(stateLine.value("time_ns", 0LL))
{
    for (const json& machine : stateLine.at("machines"))
    {
        const std::size_t process = machines.size();
        machines.push_back(textOf(machine, "name"));
        open.emplace_back();
        events.push_back(
            {{"ph", "M"}, {"name", "process_name"}, {"pid", process}, {"args", {{"name", machines.back()}}}});
        for (std::size_t index = 0; index < machine.at("states").size(); ++index)
            if (isActive(machine, index))
            {
                open.back().push_back(textOf(machine["states"][index], "path"));
                add("b", open.back().back(), "state", last, process, 0);
            }
    }
}

void CLookTrace::take(const json& changesLine)
{
    for (const json& machine : changesLine.at("machines"))
    {
        const auto found = std::find(machines.begin(), machines.end(), textOf(machine, "name"));
        if (found == machines.end())
            continue;
        const auto process = static_cast<std::size_t>(found - machines.begin());
        for (const json& record : machine.at("records"))
        {
            last = record.value("time_ns", 0LL);
            const std::string what = textOf(record, "what");
            const std::string subject = record.contains("event") ? "event " + std::to_string(record["event"].get<int>())
                                                                 : textOf(record, "subject");
            auto& active = open[process];
            const auto place = std::find(active.begin(), active.end(), subject);
            const int thread = record.value("thread", 0);
            if (what == "entered" && place == active.end())
            {
                active.push_back(subject);
                add("b", subject, "state", last, process, thread);
            }
            else if (what == "left" && place != active.end())
            {
                active.erase(place);
                add("e", subject, "state", last, process, thread);
            }
            else if (what == "fired" || what == "handled" || what == "dropped")
                add("i", std::string(what).append(" ").append(subject), what, last, process, thread);
        }
    }
}

std::string CLookTrace::toChromeJson() const
{
    nlohmann::json all = events;
    for (std::size_t process = 0; process < open.size(); ++process)
        for (const std::string& state : open[process])
            all.push_back({{"ph", "e"},
                           {"name", state},
                           {"cat", "state"},
                           {"id", state},
                           {"ts", static_cast<double>(last) / 1000},
                           {"pid", process},
                           {"tid", 0}});
    return nlohmann::json{{"traceEvents", all}, {"displayTimeUnit", "ns"}}.dump(
        -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void CLookTrace::add(const char* phase, const std::string& name, const std::string& category, long long time_ns,
                     std::size_t process, int thread)
{
    nlohmann::json event{{"ph", phase},     {"name", name},
                         {"cat", category}, {"ts", static_cast<double>(time_ns) / 1000},
                         {"pid", process},  {"tid", thread}};
    if (category == "state")
        event["id"] = name;
    else
        event["s"] = "t";
    events.push_back(event);
}

} // namespace Tool
