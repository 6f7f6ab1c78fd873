/// A GPIO line as the commands name and hold it.
#ifndef KIV_TOOLS_GPIOLINE_H
#define KIV_TOOLS_GPIOLINE_H

#include <string>

namespace Tool
{

/// The number of a line that is given by it, or as LABEL:OFFSET, the place on the chip with that label. Ends the
/// program for any other text and for chips that are not there.
unsigned gpioNumber(const std::string& text);

/// An exported line: exported now if it was not, and given back at the end in this case. Edge settings of others stay.
///
/// Errors: end the program.
class CGpioLine
{
public:
    /// `name` is how the user calls the line, for messages.
    CGpioLine(unsigned lineNumber, const std::string& lineName);
    ~CGpioLine();
    CGpioLine(const CGpioLine&) = delete;
    CGpioLine& operator=(const CGpioLine&) = delete;

    unsigned number() const { return pin; }
    const std::string& name() const { return userName; }

    /// The line stays exported at the end, or is given back in every case.
    void setExportedAtEnd(bool exported) { givesBack = !exported; }

    int value() const;
    std::string direction() const;
    /// "none", "rising", "falling" or "both".
    std::string edge() const;
    void setEdge(const std::string& edge) const;

private:
    std::string attribute(const char* what) const;

    unsigned pin;
    std::string userName;
    bool givesBack = false;
};

} // namespace Tool

#endif
