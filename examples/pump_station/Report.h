/// What the program prints about the plant, on standard output.
#ifndef KIV_PUMPSTATION_REPORT_H
#define KIV_PUMPSTATION_REPORT_H

namespace PumpStation
{

class CPlant;
class CPumpHours;

/// One line: time, inflow, level, which pumps run, and the active states.
void printStatus(const CPlant& plant);

/// The table at the end of a run, complete or not.
void printTable(const CPlant& plant);

/// The operating hours over all runs.
void printHours(const CPumpHours& hours);

} // namespace PumpStation

#endif
