// What the INI files say that describe boards.
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/BoardUser.h"
#include "support/TemporaryDirectory.h"

using testing::StartsWith;

TEST(BoardConfig, FilesDescribeChipsAndTheirManners)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "board.ini";
    std::ofstream(path) << "[board]\nkernel=6.12\n[gpio]\nlines=4\nlabel=lamps\nheld=3\nnames=red, green\n"
                           "[gpio.second]\ndevice=expander\n[pwm]\nchannels=3\nshared_period=1\npolarity=inversed\n"
                           "period=20000\n[pwm.b]\n[adc]\nlevel=2048\n";
    CUser user(Sim::readBoard(path));
    play(user, {rd("gpio/gpiochip512/label", "lamps\n"), refused("gpio/export", "515", EBUSY),
                rd("gpio/gpiochip516/ngpio", "8\n"), rd("pwm/pwmchip0/npwm", "3\n"), rd("pwm/pwmchip1/npwm", "2\n"),
                wr("pwm/pwmchip0/export", "0"), rd(period, "20000\n"), rd(polarity, "inversed\n"),
                rd("sim/adc/level", "2048\n")});
    EXPECT_THAT(user.read("sim/state"), StartsWith("kernel\t6.12\n"
                                                   "gpio\tlamps\t512\tred\tfree\tin\t0\n"
                                                   "gpio\tlamps\t513\tgreen\tfree\tin\t0\n"));
    std::ofstream(path) << "[gpio]\nlines=4\n[gpio.second]\n[pwm]\n[pwm.b]\nchannels=1\n[pwm.c]\n";
    CUser older(Sim::readBoard(path));
    play(older, {rd("gpio/gpiochip508/ngpio", "4\n"), rd("gpio/gpiochip500/ngpio", "8\n"),
                 rd("pwm/pwmchip2/npwm", "1\n"), rd("pwm/pwmchip3/npwm", "2\n")});
}

TEST(BoardConfig, ExampleFileIsTheDefaultBoard)
{
    CUser described(Sim::readBoard(BOARD_INI));
    CUser plain;
    EXPECT_EQ(described.read("sim/state"), plain.read("sim/state"));
    EXPECT_EQ(described.read("gpio/gpiochip504/label"), plain.read("gpio/gpiochip504/label"));
    for (CUser* user : {&described, &plain})
        play(*user, {wr("pwm/pwmchip0/export", "0"), wr("pwm/pwmchip0/export", "1"),
                     wr("pwm/pwmchip0/pwm1/period", "18446744073709551615"), wr("pwm/pwmchip0/pwm1/enable", "1"),
                     wr(period, "1"), wr(enable, "1"), wr(polarity, "inversed")});
}

TEST(BoardConfig, BoardsMayLackWhatOthersHave)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "board.ini";
    std::ofstream(path) << "[board]\nwithout=pwm, gpio\n[iio]\nname=converter\nscale=0.5\noffset=-3\n";
    const Sim::CBoard board(Sim::readBoard(path));
    for (const char* folder : {"/sys/class/gpio", "/sys/class/pwm"})
        EXPECT_EQ(board.find(folder), nullptr) << folder;
    CUser user(Sim::readBoard(path));
    const std::string device = "../bus/iio/devices/iio:device0/";
    user.write("sim/adc/in1", "17");
    for (const auto& [file, text] : {std::pair("name", "converter\n"), std::pair("in_voltage_scale", "0.5\n"),
                                     std::pair("in_voltage_offset", "-3\n"), std::pair("in_voltage1_raw", "17")})
        EXPECT_EQ(user.read(device + file), text);
    std::ofstream(path) << "[board]\nwithout=adc\n";
    const Sim::CBoard without(Sim::readBoard(path));
    EXPECT_EQ(without.find("/sys/bus/iio"), nullptr);
    EXPECT_NE(without.find("/sys/class/gpio"), nullptr);
}

TEST(BoardConfig, ErrorsSayFileAndReason)
{
    const TemporaryDirectory directory;
    const std::string path = directory.path() / "board.ini";
    struct Case
    {
        const char* text;
        const char* reason;
    };
    for (const Case& wrong :
         {Case{"[gpio]\nlines=many\n", "[gpio] lines=many: a number from 1 to 1024 is needed"},
          Case{"[gpio]\nline=8\n", "[gpio] line is unknown"},
          Case{"[spi]\n", "[spi] is unknown; there are board, adc, iio, gpio..., pwm..."},
          Case{"[board]\nkernel=4\n", "[board] kernel=4: must be one of 5.10, 6.1, 6.12"},
          Case{"[gpio\n", "a line begins with '[' and has no ']'"},
          Case{"[adc]\na/b=1\n", "[adc] a/b=1: not fit for a file's name"},
          Case{"[gpio/1]\n", "[gpio/1] is not fit for a file's name; give a device"},
          Case{"[gpio]\nbase=8\n[gpio2]\nbase=15\n", "line 15 belongs to two chips"},
          Case{"[gpio]\nlines=600\n", "there is no room for 600 lines of sim-gpio below 512; give a base"},
          Case{"[pwm]\n[pwm]\n", "[pwm] stands there twice"},
          Case{"[board]\nwithout=spi\n", "[board] without=spi: must name some of adc, gpio, pwm"},
          Case{"[board]\nwithout=pwm\n[pwm]\n", "what the board is without is described all the same"},
          Case{"[pwm]\ndevice=x\n[gpio]\ndevice=x\n", "device x stands there twice"}})
    {
        std::ofstream(path) << wrong.text;
        try
        {
            Sim::readBoard(path);
            ADD_FAILURE() << wrong.text;
        }
        catch (const Sim::CBoardConfigError& error)
        {
            EXPECT_EQ(error.what(), path + ": " + wrong.reason);
        }
    }
    EXPECT_THROW(Sim::readBoard(directory.path() / "missing.ini"), Sim::CBoardConfigError);
}
