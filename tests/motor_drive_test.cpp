// The state machine of the motor drive, step by step and beside the same thing written by hand as a switch.

#include "Drive.h"

#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/DriveBySwitch.h"

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class CRecordedOutputs : public IDriveOutputs
{
public:
    bool setPower(bool isOn) override
    {
        calls.emplace_back(isOn ? "power on" : "power off");
        return !isBroken;
    }
    void setSpeed(int rpm) override { calls.push_back("speed " + std::to_string(rpm)); }
    void setFaultLamp(bool isOn) override { calls.emplace_back(isOn ? "lamp on" : "lamp off"); }

    std::vector<std::string> taken() { return std::exchange(calls, {}); }

    bool isBroken = false;
    std::vector<std::string> calls;
};

class MotorDrive : public ::testing::Test
{
protected:
    MotorDrive() { drive.start(); }

    template<class Event>
    std::vector<std::string> after(const Event& event)
    {
        drive.handle(event);
        return outputs.taken();
    }

    void ticks(int count)
    {
        for (int i = 0; i < count; ++i)
            drive.handle(Tick());
    }

    CRecordedOutputs outputs;
    DriveMachine drive{outputs};
};

TEST_F(MotorDrive, HasPowerInOnAndNowhereElse)
{
    EXPECT_THAT(after(Enable()), IsEmpty());
    EXPECT_EQ(drive.root().ignored, 1);
    EXPECT_THAT(after(SwitchOn()), ElementsAre("power on"));
    EXPECT_STREQ(drive.stateName(), "Standby");
    EXPECT_THAT(after(Enable()), IsEmpty());
    EXPECT_THAT(after(ShutDown()), ElementsAre("speed 0", "power off"));
    after(SwitchOn());
    EXPECT_THAT(after(Trip{4}), ElementsAre("power off", "lamp on"));
    after(Trip{5});
    EXPECT_EQ(drive.find<Fault>()->code, 4) << "the first one counts";
    EXPECT_THAT(after(Reset()), ElementsAre("lamp off"));
    outputs.isBroken = true;
    EXPECT_THAT(after(SwitchOn()), ElementsAre("power on", "power off", "lamp on"));
    EXPECT_EQ(drive.find<Fault>()->code, Drive::noPower);
}

TEST_F(MotorDrive, StopsQuicklyAndGoesOnAsBefore)
{
    after(SwitchOn());
    after(Enable());
    after(SetSpeed{300});
    ticks(5);
    EXPECT_EQ(outputs.calls.back(), "speed 250");
    outputs.taken();
    EXPECT_THAT(after(Halt()), ElementsAre("speed 0", "speed 250"));
    EXPECT_THAT(after(Tick()), ElementsAre("speed 50"));
    EXPECT_THAT(after(Resume()), IsEmpty()) << "it still turns";
    EXPECT_THAT(after(Tick()), ElementsAre("speed 0"));
    after(Resume());
    EXPECT_STREQ(drive.stateName(), "Velocity");
    outputs.taken();
    EXPECT_THAT(after(Tick()), ElementsAre("speed 50")) << "towards the target that was kept";

    after(Jog{-80});
    ticks(10);
    EXPECT_EQ(outputs.calls.back(), "speed -80");
    after(Halt());
    ticks(1);
    after(Resume());
    EXPECT_STREQ(drive.stateName(), "Jogging");
    EXPECT_EQ(drive.find<Enabled>()->target, 0);
    after(Jog{0});
    EXPECT_EQ(drive.find<Enabled>()->target, 300);
}

TEST_F(MotorDrive, DoesWhatTheSwitchDoes)
{
    CRecordedOutputs otherOutputs;
    CDriveBySwitch bySwitch(otherOutputs);
    bySwitch.start();
    std::minstd_rand dice(1);
    const std::vector<DriveMachine::AnyEvent> events = {SwitchOn(),    Enable(),      Enable(), Disable(), ShutDown(),
                                                        SetSpeed{500}, SetSpeed{-90}, Jog{70},  Jog{0},    Halt(),
                                                        Halt(),        Resume(),      Resume(), Trip{2},   Reset()};
    for (int step = 0; step < 20000; ++step)
    {
        outputs.isBroken = otherOutputs.isBroken = dice() % 8 == 0;
        const bool isTick = dice() % 3 == 0;
        const DriveMachine::AnyEvent event = isTick ? Tick() : events[dice() % events.size()];
        drive.handle(event);
        std::visit([&](const auto& typed) { bySwitch.handle(typed); }, event);
        ASSERT_EQ(outputs.taken(), otherOutputs.taken()) << "step " << step;
        ASSERT_STREQ(drive.stateName(), bySwitch.stateName()) << "step " << step;
        if (dice() % 500 == 0)
        {
            drive.stop();
            bySwitch.stop();
            ASSERT_EQ(outputs.taken(), otherOutputs.taken());
            drive.start();
            bySwitch.start();
        }
    }
    EXPECT_EQ(drive.root().ignored, bySwitch.ignored);
}

} // namespace
