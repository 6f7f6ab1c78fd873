#include "GpioLine.h"

#include <array>
#include <cerrno>
#include <limits>

#include "KernelText.h"
#include "Node.h"

namespace Sim
{

namespace
{

constexpr std::array<const char*, 4> edgeWords = {"none", "rising", "falling", "both"};

/// Any number will do, and any but 0 is true.
int parseBit(std::string_view bytes, bool& bit)
{
    using Limits = std::numeric_limits<std::int64_t>;
    std::int64_t number = 0;
    if (const int refusal = parseSigned(bytes, Limits::min(), Limits::max(), number))
        return refusal;
    bit = number != 0;
    return 0;
}

} // namespace

CGpioLine::CGpioLine(unsigned number, std::string name, bool isHeldByDriver)
    : lineNumber(number), lineName(std::move(name)), held(isHeldByDriver)
{}

int CGpioLine::drive(std::string_view bytes)
{
    if (output)
        return -EPERM;
    const bool before = worldLevel;
    if (const int refusal = parseBit(bytes, worldLevel))
        return refusal;
    if (worldLevel == before || edge == EdgeNone)
        return 0;
    const bool isRising = worldLevel != activeLow;
    if (edge == EdgeBoth || edge == (isRising ? EdgeRising : EdgeFalling))
        value->notify();
    return 0;
}

std::shared_ptr<CFolder> CGpioLine::exportAs(const std::string& path)
{
    folder = std::make_shared<CFolder>(path);
    const auto activeLowText = [this] { return bitText(activeLow); };
    const auto directionText = [this] { return output ? "out\n" : "in\n"; };
    const auto edgeText = [this] { return std::string(edgeWords[static_cast<std::size_t>(edge)]) + "\n"; };
    const auto valueText = [this] { return bitText(level() != activeLow); };
    addAttribute(*folder, "active_low", *this, activeLowText, &CGpioLine::setActiveLow);
    addAttribute(*folder, "direction", *this, directionText, &CGpioLine::setDirection);
    addAttribute(*folder, "edge", *this, edgeText, &CGpioLine::setEdge);
    value = addAttribute(*folder, "value", *this, valueText, &CGpioLine::setValue);
    return folder;
}

void CGpioLine::unexport()
{
    folder.reset();
    value.reset();
    edge = EdgeNone;
    activeLow = false;
}

void CGpioLine::reset()
{
    unexport();
    output = false;
    outputLevel = false;
    worldLevel = false;
}

/// "out" means low, and the levels here are electrical ones: active_low does not count.
int CGpioLine::setDirection(std::string_view bytes)
{
    if (isWord(bytes, "in"))
        output = false;
    else if (isWord(bytes, "out") || isWord(bytes, "low"))
        setOutput(false);
    else if (isWord(bytes, "high"))
        setOutput(true);
    else
        return -EINVAL;
    return 0;
}

void CGpioLine::setOutput(bool newLevel)
{
    output = true;
    outputLevel = newLevel;
    edge = EdgeNone;
}

int CGpioLine::setValue(std::string_view bytes)
{
    if (!output)
        return -EPERM;
    bool logical = false;
    if (const int refusal = parseBit(bytes, logical))
        return refusal;
    outputLevel = logical != activeLow;
    return 0;
}

int CGpioLine::setActiveLow(std::string_view bytes) { return parseBit(bytes, activeLow); }

int CGpioLine::setEdge(std::string_view bytes)
{
    for (std::size_t i = 0; i < edgeWords.size(); ++i)
        if (isWord(bytes, edgeWords[i]))
        {
            if (output && i != EdgeNone)
                return -EIO; // the line is no interrupt source then
            edge = static_cast<eEdge>(i);
            return 0;
        }
    return -EINVAL;
}

} // namespace Sim
