#include "GpioList.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>

#include "Command.h"
#include "GpioDevice.h"
#include "Input.h"
#include "Json.h"
#include "Sysfs.h"

namespace Tool
{

namespace
{

constexpr const char* gpioFolder = "/sys/class/gpio/";

std::string trimmed(const std::string& text)
{
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(' ') + 1 - begin);
}

/// What a line of debugfs says: " gpio-507 (name     |label     ) in  lo IRQ".
void addHeldLine(const std::string& text, std::map<unsigned, ListedLine>& lines)
{
    const std::size_t dash = text.find("gpio-");
    const std::size_t open = text.find('(');
    const std::size_t bar = text.find('|', open);
    const std::size_t close = text.rfind(')');
    if (dash == std::string::npos || open < dash || bar == std::string::npos || close == std::string::npos ||
        close < bar)
        return;
    const auto number = parseNumber(trimmed(text.substr(dash + 5, open - dash - 5)));
    if (!number)
        return;
    ListedLine line;
    line.name = trimmed(text.substr(open + 1, bar - open - 1));
    line.holder = trimmed(text.substr(bar + 1, close - bar - 1));
    const std::string state = trimmed(text.substr(close + 1));
    line.direction = state.compare(0, 3, "out") == 0 ? "out" : "in";
    line.value = state.find(" hi") != std::string::npos ? "1" : "0";
    line.use = line.holder.empty() ? "free" : line.holder == "sysfs" ? "exported" : "held";
    lines[static_cast<unsigned>(*number)] = line;
}

/// The lines that somebody holds, by number; nothing where debugfs cannot be read.
std::optional<std::map<unsigned, ListedLine>> heldLines()
{
    std::ifstream file("/sys/kernel/debug/gpio");
    if (!file)
        return std::nullopt;
    std::map<unsigned, ListedLine> lines;
    for (std::string text; std::getline(file, text);)
        addHeldLine(text, lines);
    return lines;
}

ListedChip chipOfFiles(unsigned base, const std::optional<std::map<unsigned, ListedLine>>& held)
{
    const std::string folder = gpioFolder + ("gpiochip" + std::to_string(base)) + '/';
    const auto count = static_cast<unsigned>(parseNumber(readAttribute(folder + "ngpio").value_or("")).value_or(0));
    ListedChip chip;
    chip.label = readAttribute(folder + "label").value_or("");
    chip.place = std::to_string(base) + " to " + std::to_string(base + std::max(count, 1U) - 1);
    for (unsigned number = base; number < base + count; ++number)
    {
        ListedLine line;
        if (held && held->count(number) != 0)
            line = held->at(number);
        const std::string attributes = gpioFolder + ("gpio" + std::to_string(number)) + '/';
        if (exists(attributes))
        {
            line.use = "exported";
            line.direction = readAttribute(attributes + "direction").value_or("");
            line.value = readAttribute(attributes + "value").value_or("");
        }
        else if (line.use.empty())
            line.use = held ? "free" : "not exported";
        line.number = number;
        chip.lines.push_back(line);
    }
    return chip;
}

std::vector<ListedChip> chips()
{
    std::vector<ListedChip> found;
    const auto held = heldLines();
    for (const unsigned base : numberedEntries(gpioFolder, "gpiochip"))
        found.push_back(chipOfFiles(base, held));
    return found;
}

std::string toJson(const ListedChip& chip)
{
    std::vector<std::string> lines;
    for (std::size_t offset = 0; offset < chip.lines.size(); ++offset)
    {
        const ListedLine& line = chip.lines[offset];
        CJsonObject object;
        object.addNumber("offset", static_cast<long long>(offset));
        if (line.number)
            object.addNumber("line", *line.number);
        object.addText("name", line.name).addText("use", line.use).addText("holder", line.holder);
        object.addText("direction", line.direction);
        if (!line.value.empty())
            object.add("value", line.value == "0" ? "0" : "1");
        lines.push_back(object.text());
    }
    return CJsonObject()
        .addText("label", chip.label)
        .addText("place", chip.place)
        .add("lines", jsonArray(lines))
        .text();
}

std::string toText(const ListedChip& chip)
{
    std::string text = chip.label + "  (" + chip.place + ")";
    for (std::size_t offset = 0; offset < chip.lines.size(); ++offset)
    {
        const ListedLine& line = chip.lines[offset];
        const std::string number = line.number ? std::to_string(*line.number) : "";
        char columns[64];
        std::snprintf(columns, sizeof columns, "\n  %3zu  %5s  %-4s%-2s ", offset, number.c_str(),
                      line.direction.c_str(), line.value.c_str());
        text.append(columns).append(line.use);
        if (!line.holder.empty() && line.use == "held")
            text.append(" by ").append(line.holder);
        if (!line.name.empty())
            text.append("  \"").append(line.name).append("\"");
    }
    return text;
}

} // namespace

void listGpio(bool json)
{
    const std::vector<ListedChip> found = usesGpioDevice() ? deviceChips() : chips();
    std::vector<std::string> texts;
    texts.reserve(found.size());
    for (const ListedChip& chip : found)
        texts.push_back(json ? toJson(chip) : toText(chip));
    if (json)
        return printLine(jsonLines(texts));
    if (texts.empty())
        throw CToolError(ExitNo, "this machine shows no GPIO chip");
    for (const std::string& text : texts)
        printLine(text);
}

} // namespace Tool
