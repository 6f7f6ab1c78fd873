#include "LookMetrics.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <utility>

namespace Tool
{

namespace
{

using nlohmann::json;
using Labels = std::initializer_list<std::pair<const char*, std::string>>;

std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (const char character : text)
    {
        if (character == '"' || character == '\\')
            result += '\\';
        result += character == '\n' ? std::string("\\n") : std::string(1, character);
    }
    return result + '"';
}

/// One family after the other, each with its samples together, as the format wants it.
class CMetrics
{
public:
    void family(const char* name, const char* type, const char* help)
    {
        familyName = name;
        text += std::string("# TYPE ") + name + ' ' + type + "\n# HELP " + name + ' ' + help + '\n';
    }

    void sample(const Labels& labels, const std::string& value, const char* suffix = "")
    {
        std::string list;
        for (const auto& [label, content] : labels)
            list += (list.empty() ? "" : ",") + (label + ('=' + quoted(content)));
        text += familyName + suffix + '{' + list + "} " + value + '\n';
    }

    std::string ended() const { return text + "# EOF\n"; }

private:
    std::string familyName;
    std::string text;
};

std::string number(const json& object, const char* member) { return std::to_string(object.value(member, 0LL)); }

/// The number that a text begins with, "21.5 C" say; NaN, which gatherers leave out, where there is none.
std::string numberIn(const std::string& text)
{
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end == text.c_str() || !std::isfinite(value))
        return "NaN";
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.17g", value);
    return digits;
}

void addMachines(CMetrics& metrics, const std::string& controller, const json& machines)
{
    metrics.family("kiv_queue_waiting", "gauge", "Events and transitions in the queue.");
    for (const json& machine : machines)
        metrics.sample({{"controller", controller}, {"machine", machine.at("name")}}, number(machine, "pending"));
    metrics.family("kiv_queue_dropped", "counter", "Events and transitions that found the queue full.");
    for (const json& machine : machines)
        metrics.sample({{"controller", controller}, {"machine", machine.at("name")}}, number(machine, "dropped"),
                       "_total");
    metrics.family("kiv_state_active", "gauge", "1 for the states that are active.");
    for (const json& machine : machines)
        for (std::size_t index = 0; index < machine.at("states").size(); ++index)
        {
            const json& active = machine.at("active");
            const bool isActive = std::find(active.begin(), active.end(), json(index)) != active.end();
            metrics.sample({{"controller", controller},
                            {"machine", machine.at("name")},
                            {"number", std::to_string(index)}, // paths may be there twice
                            {"state", machine["states"][index].at("path")}},
                           isActive ? "1" : "0");
        }
}

} // namespace

std::string openMetrics(const json& greeting, const json& state)
{
    const std::string controller = greeting.value("name", "");
    CMetrics metrics;
    addMachines(metrics, controller, state.at("machines"));
    metrics.family("kiv_timer_running", "gauge", "1 while the timer runs.");
    for (const json& timer : state.at("timers"))
        metrics.sample({{"controller", controller}, {"timer", timer.at("name")}},
                       timer.value("running", false) ? "1" : "0");
    metrics.family("kiv_value", "gauge", "The number in a text that the program shows.");
    for (const json& value : state.at("values"))
        metrics.sample({{"controller", controller}, {"name", value.at("name")}}, numberIn(value.value("value", "")));
    metrics.family("kiv_cpu_seconds", "counter", "Processor time of the process.");
    char seconds[40];
    std::snprintf(seconds, sizeof seconds, "%.6f", static_cast<double>(state.value("cpu_ns", 0LL)) / 1e9);
    metrics.sample({{"controller", controller}}, seconds, "_total");
    return metrics.ended();
}

} // namespace Tool
