/// What is known of a controller that is looked at, kept up to date by its lines.
#ifndef KIV_TOOLS_LOOKVIEW_H
#define KIV_TOOLS_LOOKVIEW_H

#include <deque>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace Tool
{

/// One line of an inspection as JSON; a CToolError where it is none, or says that the request failed.
nlohmann::json parsedLine(const std::string& line);

/// The state, the changes since, and the last of what happened.
class CLookView
{
public:
    explicit CLookView(nlohmann::json greetingLine) : greeting(std::move(greetingLine)) {}

    /// Takes a "state" or a "changes" line over; others change nothing.
    void take(const nlohmann::json& line);

    /// As text for a terminal: machines as trees with the active states marked, timers, values, and what happened last.
    std::string text() const;

private:
    std::string machineText(const nlohmann::json& machine) const;

    nlohmann::json greeting;
    nlohmann::json state;
    std::deque<std::string> happened;
};

/// Records of "changes" lines as Chrome Trace Event JSON, which Perfetto shows; states that were active at the
/// beginning start with the first line.
class CLookTrace
{
public:
    explicit CLookTrace(const nlohmann::json& stateLine);
    void take(const nlohmann::json& changesLine);
    std::string toChromeJson() const;

private:
    void add(const char* phase, const std::string& name, const std::string& category, long long time_ns,
             std::size_t process, int thread);

    nlohmann::json events = nlohmann::json::array();
    std::vector<std::string> machines;
    std::vector<std::vector<std::string>> open; // states that are active, of each machine
    long long last = 0;
};

} // namespace Tool

#endif
