/// The two pumps, which take turns as duty and standby pump.
#ifndef KIV_PUMPSTATION_PUMPS_H
#define KIV_PUMPSTATION_PUMPS_H

#include <array>
#include <cstddef>

namespace PumpStation
{

class IWiring;

/// Switches the pumps and counts their starts and running times. All are off at first, and pump 0 is the duty pump.
///
/// Units: seconds of the model's time.
class CPumps
{
public:
    static constexpr std::size_t count = 2;

    explicit CPumps(IWiring& wiring);

    bool isRunning(std::size_t pump) const { return pumps.at(pump).running; }
    int starts(std::size_t pump) const { return pumps.at(pump).starts; }
    int secondsRun(std::size_t pump) const { return pumps.at(pump).secondsRun; }

    // Each of these stops the pumps that it does not name.
    void runNone();
    void runDuty();
    void runBoth();
    void runOnly(std::size_t pump);

    /// Makes the standby pump the duty pump, so that both wear alike; switches nothing.
    void changeDuty() { duty = 1 - duty; }

    /// Lets the running pumps run for a while.
    void advance(int seconds);

private:
    struct Pump
    {
        bool running = false;
        int starts = 0;
        int secondsRun = 0;
    };

    void set(std::size_t pump, bool run);

    IWiring& wiring;
    std::array<Pump, count> pumps;
    std::size_t duty = 0;
};

} // namespace PumpStation

#endif
