#include "Journal.h"

#include "ErrnoNames.h"

namespace Sim
{

namespace
{

constexpr std::size_t mostLines = 65536;

std::string hexadecimal(std::string_view bytes)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes)
    {
        const auto value = static_cast<unsigned char>(byte);
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

} // namespace

void CJournal::add(std::string_view operation, const std::string& path, std::string_view data, int result)
{
    std::string line(operation);
    line.append(" ").append(path).append(" ").append(data.empty() ? "-" : data).append(" ");
    line += result < 0 ? "-" + errnoName(-result) : std::to_string(result);
    if (lines.size() == mostLines)
        lines.pop_front();
    lines.push_back(line + "\n");
}

void CJournal::addBytes(std::string_view operation, const std::string& path, std::string_view bytes, int result)
{
    add(operation, path, hexadecimal(bytes), result);
}

std::string CJournal::text() const
{
    std::string all;
    for (const std::string& line : lines)
        all += line;
    return all;
}

} // namespace Sim
