/// The page that kiv view serves: view.html, with nothing from the network.
#ifndef KIV_TOOLS_VIEWPAGE_H
#define KIV_TOOLS_VIEWPAGE_H

namespace Tool
{

extern const char* const viewPage;

} // namespace Tool

#endif
