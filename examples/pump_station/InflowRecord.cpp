#include "InflowRecord.h"

#include <algorithm>
#include <cmath>

#include "Figures.h"
#include "TextFile.h"

namespace PumpStation
{

namespace
{

constexpr const char* columns = "time,inflow";
constexpr double largestInflow = 10000; // l/s

/// The text of a row on both sides of its one comma.
std::pair<std::string, std::string> cells(const CTextFile& file, std::size_t number)
{
    const std::string& row = file.line(number);
    const std::size_t comma = row.find(',');
    if (comma == row.npos || comma != row.rfind(','))
        file.fail(number, "a row has two columns, time and inflow");
    return {row.substr(0, comma), row.substr(comma + 1)};
}

bool counts(const std::string& line) { return line.find_first_not_of(" \t") != line.npos && line[0] != '#'; }

int timeOf(const CTextFile& file, std::size_t number, const std::string& cell)
{
    const auto time = toSeconds(cell);
    if (!time)
        file.fail(number, "'" + cell + "' is no time of day such as 07:30");
    return *time;
}

std::int64_t inflowOf(const CTextFile& file, std::size_t number, const std::string& cell)
{
    const auto inflow = toNumber(cell);
    if (!inflow)
        file.fail(number, "'" + cell + "' is no number");
    if (*inflow < 0 || *inflow > largestInflow)
        file.fail(number, "an inflow lies between 0 and 10000 l/s");
    return std::llround(*inflow * 1000);
}

} // namespace

CInflowRecord::CInflowRecord(const std::string& path)
{
    const CTextFile file(path);
    bool named = false;
    for (std::size_t number = 1; number <= file.lineCount(); ++number)
    {
        if (!counts(file.line(number)))
            continue;
        if (named)
            addRow(file, number);
        else if (file.line(number) != columns)
            file.fail(number, std::string("the first line that counts must name the columns: ") + columns);
        named = true;
    }
    if (samples.size() < 2)
        file.fail(file.lineCount(), "the recording ends before its second row");
}

void CInflowRecord::addRow(const CTextFile& file, std::size_t number)
{
    const auto [time, inflow] = cells(file, number);
    const Sample sample{timeOf(file, number, time), inflowOf(file, number, inflow)};
    if (!samples.empty() && sample.time <= samples.back().time)
        file.fail(number, "the time does not lie after the one before, " + clockText(end()));
    samples.push_back(sample);
}

std::int64_t CInflowRecord::inflowAt(int time) const
{
    const auto next = std::upper_bound(samples.begin(), samples.end(), time,
                                       [](int wanted, const Sample& sample) { return wanted < sample.time; });
    if (next == samples.begin())
        return next->inflow;
    const Sample& last = *(next - 1);
    if (next == samples.end())
        return last.inflow;
    return last.inflow + (next->inflow - last.inflow) * (time - last.time) / (next->time - last.time);
}

} // namespace PumpStation
