/// One line of a GPIO chip: what its driver keeps, and its folder while it is exported.
#ifndef KIV_SIM_GPIOLINE_H
#define KIV_SIM_GPIOLINE_H

#include <memory>
#include <string>
#include <string_view>

namespace Sim
{

class CAttribute;
class CFolder;

enum eEdge : int
{
    EdgeNone,
    EdgeRising,
    EdgeFalling,
    EdgeBoth
};

/// A line between the chip, which drives it as an output, and the outer world, which drives it otherwise.
///
/// Threads, errors: as CNode.
class CGpioLine
{
public:
    /// A held line belongs to a driver and cannot be exported.
    CGpioLine(unsigned number, std::string name, bool isHeld);

    unsigned number() const { return lineNumber; }
    /// What the board's file calls it; not shown by the kernel.
    const std::string& name() const { return lineName; }
    bool isHeld() const { return held; }
    bool isExported() const { return folder != nullptr; }
    bool isOutput() const { return output; }
    /// The electrical level, whatever active_low says.
    bool level() const { return output ? outputLevel : worldLevel; }

    /// The outer world's level, as text. Refused with -EPERM while the line is an output.
    int drive(std::string_view bytes);

    /// The folder with the line's attributes. Direction and level are those that the line was left with, edge and
    /// active_low are the defaults.
    std::shared_ptr<CFolder> exportAs(const std::string& path);
    void unexport();
    /// As at power-on: an input that the outer world holds low.
    void reset();

private:
    int setDirection(std::string_view bytes);
    int setValue(std::string_view bytes);
    int setActiveLow(std::string_view bytes);
    int setEdge(std::string_view bytes);
    void setOutput(bool newLevel);

    unsigned lineNumber;
    std::string lineName;
    bool held;
    bool output = false;
    bool outputLevel = false;
    bool worldLevel = false;
    bool activeLow = false;
    eEdge edge = EdgeNone;
    std::shared_ptr<CFolder> folder;
    std::shared_ptr<CAttribute> value;
};

} // namespace Sim

#endif
