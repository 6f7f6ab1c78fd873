/// The whole simulated board: /sys/class/gpio, /sys/class/pwm, /sys/bus/iio and the outer world in /sys/class/sim.
#ifndef KIV_SIM_BOARD_H
#define KIV_SIM_BOARD_H

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "BoardConfig.h"
#include "Faults.h"
#include "GpioChip.h"
#include "Journal.h"
#include "Node.h"
#include "OpenFile.h"
#include "PwmChip.h"

namespace Sim
{

/// A model of what the kernel does behind the files, without any file system: whoever serves one asks it.
///
/// open() and the operations on what it opened go by the faults that are ordered and are kept in the journal; the
/// files of /sys/class/sim, ADC inputs excepted, know neither.
///
/// Threads: the whole model belongs to one thread.
/// Errors: results below 0 are negated errno values. Rights of users are not looked at, only those that root lacks too.
class CBoard
{
public:
    explicit CBoard(const BoardConfig& config);
    CBoard(const CBoard&) = delete;
    CBoard& operator=(const CBoard&) = delete;

    /// /sys/class, and /sys/devices/platform, where the links of the former lead.
    const std::shared_ptr<CFolder>& classes() const { return classFolder; }
    const std::shared_ptr<CFolder>& devices() const { return deviceFolder; }
    /// /sys/bus, with industrial I/O.
    const std::shared_ptr<CFolder>& buses() const { return busFolder; }

    /// The node of an absolute path, links followed; null when there is none.
    std::shared_ptr<CNode> find(const std::string& path) const;
    /// The names in a folder.
    int list(const std::string& path, std::vector<std::string>& names) const;

    /// `flags` as for open(2).
    int open(const std::string& path, int flags, std::unique_ptr<COpenFile>& file);
    int open(const std::shared_ptr<CAttribute>& attribute, int flags, std::unique_ptr<COpenFile>& file);
    int read(COpenFile& file, std::size_t offset, std::size_t size, std::string& bytes);
    int write(COpenFile& file, std::string_view bytes);
    void close(std::unique_ptr<COpenFile> file);

private:
    void addGpio(const BoardConfig& config);
    void addPwm(const BoardConfig& config);
    void addWorld(const BoardConfig& config);
    void addIio(const IioConfig& config);
    void addWorldLines(CFolder& folder);
    void addWorldChannels(CFolder& folder);
    void addAdcInput(CFolder& folder, const AdcConfig& input);
    void reset();
    int exportLine(std::string_view bytes, int (CGpioChip::*operation)(CGpioLine&));
    std::string stateText() const;

    eKernel kernel;
    std::shared_ptr<CFolder> root;
    std::shared_ptr<CFolder> classFolder;
    std::shared_ptr<CFolder> deviceFolder;
    std::shared_ptr<CFolder> busFolder;
    std::deque<CGpioChip> gpioChips;
    std::deque<CPwmChip> pwmChips;
    std::vector<AdcConfig> adcAtPowerOn;
    std::vector<std::pair<std::string, std::shared_ptr<std::string>>> adcTexts;
    CFaults faults;
    CJournal journal;
};

} // namespace Sim

#endif
