/// The drive's hardware on a board: a contactor, a lamp and a PWM channel.
#ifndef KIV_MOTOR_DRIVE_BOARDOUTPUTS_H
#define KIV_MOTOR_DRIVE_BOARDOUTPUTS_H

#include <memory>
#include <optional>

#include <kiv/LinuxPWMChip.h>
#include <kiv/linux_gpio.h>

#include "DriveOutputs.h"

/// Two lines of a GPIO chip and a channel of a PWM chip.
class CBoardOutputs : public IDriveOutputs
{
public:
    static constexpr int fullSpeed = 3000; ///< rpm at a duty cycle of 100 %

    /// False with a line on standard error if the board lacks something.
    bool open();

    bool setPower(bool isOn) override;
    void setSpeed(int rpm) override;
    void setFaultLamp(bool isOn) override;

    /// As set last.
    int lastSpeed() const { return speed; }

private:
    struct CMotor
    {
        explicit CMotor(unsigned char chipNumber) : chip(chipNumber, 1) {}
        Kiv::CLinuxPWMChip chip;
    };

    static constexpr unsigned period_ns = 60000;

    int speed = 0;
    std::unique_ptr<Kiv::CLinuxIoPin> contactor;
    std::unique_ptr<Kiv::CLinuxIoPin> faultLamp;
    std::optional<CMotor> motor;
};

#endif
