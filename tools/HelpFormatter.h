/// How kiv's help looks: as people read it, and as help2man does, which makes the manual page of `kiv --help-all`.
#ifndef KIV_TOOLS_HELPFORMATTER_H
#define KIV_TOOLS_HELPFORMATTER_H

#include <string>

#include <CLI/CLI.hpp>

namespace Tool
{

/// A command's description is the one line that lists of commands show; what else there is to say is its footer.
class CHelpFormatter : public CLI::FormatterBase
{
public:
    /// In the mode All every command follows with its arguments and options.
    std::string make_help(const CLI::App* command, std::string name, CLI::AppFormatMode mode) const override;
};

} // namespace Tool

#endif
