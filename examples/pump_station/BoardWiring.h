/// The wires of a station whose controller has a board: GPIO lines, PWM channels and an analogue input.
#ifndef KIV_PUMPSTATION_BOARDWIRING_H
#define KIV_PUMPSTATION_BOARDWIRING_H

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include <kiv/LinuxPWMChip.h>
#include <kiv/linux_adc.h>
#include <kiv/linux_gpio.h>

#include "BoardWorld.h"
#include "Wiring.h"

namespace PumpStation
{

struct TerminalSettings;

/// The controller's end is that of any controller: the float switch is an input line, each lamp an output line, each
/// pump's speed a PWM duty cycle, the level the number that an analogue input shows. The plant's end is the board's
/// outer world; with a real plant there would be none.
///
/// Units, threads, errors: as IWiring.
class CBoardWiring final : public IWiring
{
public:
    /// Takes the lines and channels. CWiringError if the board lacks one, or is not there at all.
    CBoardWiring(const TerminalSettings& settings, eBoardWorld worldKind);

    int level() override;
    bool isFloatUp() override;
    void setPumpSpeed(std::size_t pump, int percent) override;
    void setLamp(eLamp lamp, bool lit) override;
    void showPlant(int level, bool floatUp) override;
    int pumpSpeed(std::size_t pump) override;
    ErrCode error() const override { return firstError; }

private:
    void note(int result);

    unsigned firstLine;
    Kiv::CLinuxIoPin floatSwitch;
    std::vector<Kiv::CLinuxIoPin> lamps;
    unsigned period; // nanoseconds
    Kiv::CLinuxPWMChip drives;
    int lastLevel = 0;
    bool wasFloatUp = false;
    bool shownFloat = false;
    std::unique_ptr<IBoardWorld> world;
    Kiv::CLinuxPollingADC levelInput; // behind the world, which may have to make its file
    std::array<int, pumpCount> lastSpeeds{};
    std::atomic<ErrCode> firstError{0};
};

} // namespace PumpStation

#endif
