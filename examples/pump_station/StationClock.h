/// The model's time, and the one deadline that the controller sets on it.
#ifndef KIV_PUMPSTATION_STATIONCLOCK_H
#define KIV_PUMPSTATION_STATIONCLOCK_H

#include <limits>

namespace PumpStation
{

/// Goes on with the model's steps, not with the machine's time, so that a run at any speed sees the same times.
///
/// Units: seconds, since midnight of the recording's first day.
class CStationClock
{
public:
    explicit CStationClock(int begin) : time(begin) {}

    int now() const { return time; }
    void advance(int seconds) { time += seconds; }

    /// Begins a phase of something that takes a while, and forgets the phase before.
    void startPhase(int seconds) { phaseEnd = time + seconds; }

    /// True once when the phase has ended.
    bool takePhaseEnd()
    {
        const bool ended = time >= phaseEnd;
        if (ended)
            phaseEnd = never;
        return ended;
    }

private:
    static constexpr int never = std::numeric_limits<int>::max();

    int time;
    int phaseEnd = never;
};

} // namespace PumpStation

#endif
