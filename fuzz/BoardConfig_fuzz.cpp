// Foreign bytes as the file that describes a simulated board, and the board that comes of it.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Board.h"
#include "BoardConfig.h"
#include "MemoryFile.h"

namespace
{

void build(const Sim::BoardConfig& config)
{
    require(!config.gpio.empty() && !config.pwm.empty() && !config.adc.empty());
    const Sim::CBoard board(config);
    std::vector<std::string> names;
    require(board.list("/sys/class/gpio", names) == 0);
    require(names.size() == config.gpio.size() + 2); // and export, unexport
    for (const Sim::GpioChipConfig& chip : config.gpio)
        require(board.find("/sys/class/gpio/gpiochip" + std::to_string(chip.base) + "/ngpio") != nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const CMemoryFile file(std::string(bytes, bytes + size));
    try
    {
        build(Sim::readBoard(file.path()));
    }
    catch (const Sim::CBoardConfigError& error)
    {
        require(std::string(error.what()).compare(0, file.path().size(), file.path()) == 0);
    }
    return 0;
}
