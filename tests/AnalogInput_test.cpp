// Readings in units: "level" is channel 0 of the simulated board's converter, ads1015, with 2 mV for each step and an
// offset of -10.
#include <kiv/AnalogInput.h>

#include <cmath>

#include "support/BoardAccess.h"
#include "support/DecimalComma.h"

using Kiv::AnalogUnit;
using Kiv::CAnalogInput;

namespace
{

using AnalogInput = COnBoard;

const std::string folder = "/sys/bus/iio/devices/iio:device0/";

} // namespace

TEST_F(AnalogInput, VoltsComeOfRawScaleAndOffset)
{
    const CAnalogInput input("ads1015", 0);
    EXPECT_EQ(input.path(), folder + "in_voltage0_raw");
    const DecimalComma comma;
    setWorld("sim/adc/level", "1010.5\n");
    double value = 0;
    EXPECT_EQ(input.readRaw(value), 0);
    EXPECT_DOUBLE_EQ(value, 1010.5);
    EXPECT_EQ(input.readVolts(value), 0);
    EXPECT_DOUBLE_EQ(value, 2.001);
    AnalogUnit percent;
    percent.perVolt = 25; // 1 to 5 V are 0 to 100 %
    percent.atZeroVolts = -25;
    EXPECT_EQ(input.read(percent, value), 0);
    EXPECT_DOUBLE_EQ(value, 25.025);
    percent.minimum = 30;
    EXPECT_EQ(input.read(percent, value), -34) << "a broken wire, say";
    EXPECT_DOUBLE_EQ(value, 25.025) << "stays";
}

TEST_F(AnalogInput, WhatIsNoFiniteNumberIsNoReading)
{
    const CAnalogInput input(folder + "in_voltage0_raw");
    double value = 7;
    for (const char* text : {"inf\n", "-inf\n", "nan\n", "1e999\n", "", "\n", "x\n", "12x\n", "1,5\n", "0x10\n"})
    {
        setWorld("sim/adc/level", text);
        EXPECT_EQ(input.readRaw(value), -31) << text;
        EXPECT_EQ(input.readVolts(value), -31) << text;
    }
    setWorld("sim/adc/level", " 5 \n");
    EXPECT_EQ(input.readRaw(value), -31) << "no driver writes a blank in front";
    setWorld("sim/adc/level", "+5 \n");
    EXPECT_EQ(input.readVolts(value), 0);
    EXPECT_EQ(value, -0.01);
}

TEST_F(AnalogInput, RefusalsAreTheDriversCodes)
{
    double value = 7;
    EXPECT_EQ(CAnalogInput("no such device", 0).readVolts(value), -2);
    EXPECT_EQ(CAnalogInput("ads1015", 9).readVolts(value), -2);
    EXPECT_EQ(CAnalogInput("/sys/class/sim/adc/level").readVolts(value), -2) << "nothing is known of its scale";
    for (const char* file : {"in_voltage0_raw", "in_voltage_scale", "in_voltage_offset"})
    {
        setWorld("sim/faults", "read " + folder + file + " 1 EIO\n");
        EXPECT_EQ(CAnalogInput("ads1015", 0).readVolts(value), -5) << file;
    }
    EXPECT_EQ(value, 7);
}
