/// The wires of a station whose controller has a board: GPIO lines, PWM channels and an analogue input.
#ifndef KIV_PUMPSTATION_BOARDWIRING_H
#define KIV_PUMPSTATION_BOARDWIRING_H

#include <array>
#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include <kiv/LinuxPWMChip.h>
#include <kiv/linux_adc.h>
#include <kiv/linux_gpio.h>

#include "Wiring.h"

namespace PumpStation
{

struct TerminalSettings;

/// The board lacks something, as one line.
class CWiringError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// The controller's end is that of any controller: the float switch is an input line, each lamp an output line, each
/// pump's speed a PWM duty cycle, the level the number that an analogue input shows. The plant's end is the outer world
/// of the simulated board, /sys/class/sim; with a real plant there would be none.
///
/// Units, threads, errors: as IWiring.
class CBoardWiring final : public IWiring
{
public:
    /// Takes the lines and channels. CWiringError if the board lacks one, or is not there at all.
    explicit CBoardWiring(const TerminalSettings& settings);

    int level() override;
    bool isFloatUp() override;
    void setPumpSpeed(std::size_t pump, int percent) override;
    void setLamp(eLamp lamp, bool lit) override;
    void showPlant(int level, bool floatUp) override;
    int pumpSpeed(std::size_t pump) override;
    ErrCode error() const override { return firstError; }

private:
    /// A file of the outer world, kept open.
    class CWorldFile
    {
    public:
        explicit CWorldFile(const std::string& path);
        CWorldFile(CWorldFile&& other) noexcept;
        CWorldFile& operator=(CWorldFile&&) = delete;
        ~CWorldFile();

        int write(const std::string& text) const;
        int read(std::string& text) const;

    private:
        int descriptor;
    };

    void note(int result);

    unsigned firstLine;
    Kiv::CLinuxIoPin floatSwitch;
    std::vector<Kiv::CLinuxIoPin> lamps;
    Kiv::CLinuxPollingADC levelInput;
    unsigned period; // nanoseconds
    Kiv::CLinuxPWMChip drives;
    int lastLevel = 0;
    bool wasFloatUp = false;
    bool shownFloat = false;
    CWorldFile worldLevel;
    CWorldFile worldFloat;
    std::vector<CWorldFile> worldSpeeds;
    std::array<int, pumpCount> lastSpeeds{};
    std::atomic<ErrCode> firstError{0};
};

} // namespace PumpStation

#endif
