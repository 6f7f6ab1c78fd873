// One access through the library beside the bare system calls on the same file. The files are plain ones in memory, in
// a mount namespace of the program's own: the kernel spends more on a real attribute, so the ratio is stricter here.
// Run by `kiv-board run`, the program measures on the simulated board instead.
#include <kiv/linux_adc.h>
#include <kiv/linux_gpio.h>
#include <kiv/linux_pwm.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "allocations.h"

namespace
{

constexpr const char* valuePath = "/sys/class/gpio/gpio504/value";
constexpr const char* dutyPath = "/sys/class/pwm/pwmchip0/pwm0/duty_cycle";
constexpr const char* countPath = "/sys/class/sim/adc/in0";
constexpr const char* voltPath = "/sys/class/sim/adc/in1";

template<class Access>
void measure(benchmark::State& state, const Access& access)
{
    const CAllocationCounter counter(state);
    bool good = true;
    for (auto _ : state)
        good &= access();
    if (!good)
        state.SkipWithError("an access failed");
}

template<std::size_t size>
bool bareWrite(const char* path, const char (&bytes)[size])
{
    const int file = ::open(path, O_WRONLY | O_CLOEXEC);
    const bool written = ::write(file, bytes, size) == static_cast<ssize_t>(size);
    return ::close(file) == 0 && written;
}

bool bareRead(const char* path, std::size_t size)
{
    char bytes[256];
    const int file = ::open(path, O_RDONLY | O_CLOEXEC);
    const bool isRead = ::read(file, bytes, size) > 0;
    benchmark::DoNotOptimize(bytes);
    return ::close(file) == 0 && isRead;
}

void registerAll()
{
    const auto add = [](const char* name, auto access) {
        benchmark::RegisterBenchmark(name, [access](benchmark::State& state) { measure(state, access); });
    };
    add("gpio_set_value/kiv", [] { return Kiv::gpio_set_value(504, Kiv::PinValueHigh) == 0; });
    add("gpio_set_value/open, write, close", [] { return bareWrite(valuePath, "1"); });
    add("gpio_get_value/kiv", [] {
        unsigned int value = 0;
        return Kiv::gpio_get_value(504, &value) == 0 && value == 1;
    });
    add("gpio_get_value/open, read, close", [] { return bareRead(valuePath, 1); });
    add("pwm_set_duty_cycle/kiv", [] { return pwm_set_duty_cycle(0, 0, 1234567) == 0; });
    add("pwm_set_duty_cycle/open, write, close", [] {
        return bareWrite(dutyPath, {'1', '2', '3', '4', '5', '6', '7'});
    });
    add("ADC read, 1837/kiv", [adc = Kiv::CLinuxPollingADC(countPath)] { return adc.read() == 1837; });
    add("ADC read, 1837/open, read, close", [] { return bareRead(countPath, 255); });
    add("ADC read, 3.25/kiv", [adc = Kiv::CLinuxPollingADC(voltPath)] { return adc.read() == 3.25F; });
    add("ADC read, 3.25/open, read, close", [] { return bareRead(voltPath, 255); });
}

/// Starts the program anew as root of a user namespace; comes back where that cannot be.
void becomeRoot(char** argv)
{
    std::vector<char*> command;
    std::string words[] = {"unshare", "--user", "--map-root-user"};
    for (std::string& word : words)
        command.push_back(word.data());
    for (; *argv != nullptr; ++argv)
        command.push_back(*argv);
    command.push_back(nullptr);
    execvp(command[0], command.data());
}

bool makePlainFiles()
{
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("bench", "/sys/class", "tmpfs", 0, nullptr) != 0)
        return false;
    for (const char* path : {valuePath, dutyPath, countPath, voltPath})
    {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << "1\n";
    }
    return true;
}

bool prepare(char** argv)
{
    const bool onBoard = std::filesystem::exists("/sys/class/sim");
    if (!onBoard && geteuid() != 0)
        becomeRoot(argv);
    if (!onBoard && !makePlainFiles())
        return false;
    if (onBoard)
    {
        Kiv::gpio_export(504);
        Kiv::gpio_set_dir(504, Kiv::PinDirectionOutput);
        pwm_export(0, 0);
        pwm_set_period(0, 0, 2000000);
    }
    Kiv::gpio_set_value(504, Kiv::PinValueHigh);
    std::ofstream(countPath) << "1837\n";
    std::ofstream(voltPath) << "3.25\n";
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (prepare(argv))
        registerAll();
    else
        std::perror("cannot lay files over /sys/class");
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
