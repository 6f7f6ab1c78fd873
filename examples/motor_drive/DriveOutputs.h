/// What a drive switches and sets.
#ifndef KIV_MOTOR_DRIVE_DRIVEOUTPUTS_H
#define KIV_MOTOR_DRIVE_DRIVEOUTPUTS_H

/// The hardware of a drive as its state machine sees it.
class IDriveOutputs
{
public:
    virtual ~IDriveOutputs() = default;

    /// Closes or opens the power stage's contactor; false if it did not follow.
    virtual bool setPower(bool isOn) = 0;
    /// Speed of the motor in revolutions per minute, negative backwards.
    virtual void setSpeed(int rpm) = 0;
    virtual void setFaultLamp(bool isOn) = 0;
};

#endif
