/// The figures of a controller for those who gather the figures of many.
#ifndef KIV_TOOLS_LOOKMETRICS_H
#define KIV_TOOLS_LOOKMETRICS_H

#include <string>

#include <nlohmann/json.hpp>

namespace Tool
{

/// A "hello" and a "state" line as OpenMetrics text (version 1.0.0).
std::string openMetrics(const nlohmann::json& greeting, const nlohmann::json& state);

} // namespace Tool

#endif
