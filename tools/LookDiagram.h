/// The picture of a machine that is looked at.
#ifndef KIV_TOOLS_LOOKDIAGRAM_H
#define KIV_TOOLS_LOOKDIAGRAM_H

#include <string>

#include "LookClient.h"

namespace Tool
{

/// A machine's diagram in "dot", "mermaid" or "plantuml". Throws a CToolError where there is no such machine.
std::string diagramText(CLookClient& client, const std::string& format, const std::string& machine);

/// What Graphviz makes of a diagram in its language: SVG. Throws a CToolError where Graphviz is not installed.
std::string pictureOf(const std::string& dotText);

} // namespace Tool

#endif
