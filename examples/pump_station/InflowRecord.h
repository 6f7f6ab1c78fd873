/// A recorded inflow: how much water arrived at which time of day.
#ifndef KIV_PUMPSTATION_INFLOWRECORD_H
#define KIV_PUMPSTATION_INFLOWRECORD_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace PumpStation
{

class CTextFile;

/// The recording, read from a CSV file with the columns "time,inflow": "17:05,131.4" stands for 131.4 l/s at 17:05.
/// Empty lines and lines that begin with '#' do not count.
///
/// Units: seconds since midnight, millilitres per second.
class CInflowRecord
{
public:
    /// CInputError if the file is not what the class says: at least two rows, times ascending, 0 to 10,000 l/s.
    explicit CInflowRecord(const std::string& path);

    int begin() const { return samples.front().time; }
    int end() const { return samples.back().time; }

    /// Changes evenly from one row to the next; before the first and after the last row it stays what it is there.
    std::int64_t inflowAt(int time) const;

private:
    struct Sample
    {
        int time;
        std::int64_t inflow;
    };

    void addRow(const CTextFile& file, std::size_t number);

    std::vector<Sample> samples;
};

} // namespace PumpStation

#endif
