/// What runs between the controller and its plant: level sensor, float switch, pump drives and lamps.
#ifndef KIV_PUMPSTATION_WIRING_H
#define KIV_PUMPSTATION_WIRING_H

#include <array>
#include <cstddef>

#include <kiv/err_codes.h>

namespace PumpStation
{

enum eLamp : std::size_t
{
    RunLamp,
    FaultLamp,
    AlarmLamp
};

constexpr std::size_t lampCount = 3;
constexpr std::size_t pumpCount = 2;

/// The wires, with the controller at one end and the plant, which is a model here, at the other.
///
/// Units: millimetres above the basin's floor; per cent of a pump's full speed, 0 when it is off.
/// Threads: each function belongs to one thread at a time; setLamp() may be called while another thread uses the rest.
/// Errors: a failed access changes nothing and is remembered, see error().
class IWiring
{
public:
    IWiring() = default;
    IWiring(const IWiring&) = delete;
    IWiring& operator=(const IWiring&) = delete;
    virtual ~IWiring() = default;

    // The controller's end.
    virtual int level() = 0;
    virtual bool isFloatUp() = 0;
    virtual void setPumpSpeed(std::size_t pump, int percent) = 0;
    virtual void setLamp(eLamp lamp, bool lit) = 0;

    // The plant's end.
    virtual void showPlant(int level, bool floatUp) = 0;
    virtual int pumpSpeed(std::size_t pump) = 0;

    /// 0, or the code of the first access that failed.
    virtual ErrCode error() const = 0;
};

/// Wires without a board between: what goes in at one end comes out at the other.
class CDirectWiring final : public IWiring
{
public:
    int level() override { return shownLevel; }
    bool isFloatUp() override { return shownFloat; }
    void setPumpSpeed(std::size_t pump, int percent) override { speeds.at(pump) = percent; }
    void setLamp(eLamp, bool) override {}
    void showPlant(int level, bool floatUp) override
    {
        shownLevel = level;
        shownFloat = floatUp;
    }
    int pumpSpeed(std::size_t pump) override { return speeds.at(pump); }
    ErrCode error() const override { return 0; }

private:
    int shownLevel = 0;
    bool shownFloat = false;
    std::array<int, pumpCount> speeds{};
};

} // namespace PumpStation

#endif
