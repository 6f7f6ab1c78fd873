/// The motor drive of the examples once more, written by hand as a switch: what its state machine is compared with.
#ifndef KIV_DRIVEBYSWITCH_H
#define KIV_DRIVEBYSWITCH_H

#include "Drive.h"

/// Does what a DriveMachine does.
class CDriveBySwitch
{
public:
    enum eState : unsigned char
    {
        StateReady,
        StateStandby,
        StateVelocity,
        StateJogging,
        StateQuickStop,
        StateFault,
        StateStopped
    };

    explicit CDriveBySwitch(IDriveOutputs& hardware) : outputs(hardware) {}

    void start() { state = StateReady; }

    void stop()
    {
        leave();
        velocity = 0;
        hasJogged = false;
        state = StateStopped;
    }

    void handle(const SwitchOn&)
    {
        switch (state)
        {
        case StateReady:
            if (outputs.setPower(true))
                state = StateStandby;
            else
            {
                outputs.setPower(false);
                enterFault(Drive::noPower);
            }
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const ShutDown&)
    {
        switch (state)
        {
        case StateStandby:
        case StateVelocity:
        case StateJogging:
        case StateQuickStop:
            leave();
            state = StateReady;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Enable&)
    {
        switch (state)
        {
        case StateStandby:
            speed = 0;
            enterVelocity();
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Disable&)
    {
        switch (state)
        {
        case StateVelocity:
        case StateJogging:
            leaveEnabled();
            state = StateStandby;
            break;
        case StateQuickStop:
            outputs.setSpeed(0);
            state = StateStandby;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const SetSpeed& wanted)
    {
        switch (state)
        {
        case StateVelocity:
            target = velocity = wanted.rpm;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Jog& wanted)
    {
        switch (state)
        {
        case StateVelocity:
            target = wanted.rpm;
            state = StateJogging;
            break;
        case StateJogging:
            if (wanted.rpm == 0)
                enterVelocity();
            else
                target = wanted.rpm;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Halt&)
    {
        switch (state)
        {
        case StateVelocity:
        case StateJogging:
            leaveEnabled();
            outputs.setSpeed(speed);
            state = StateQuickStop;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Resume&)
    {
        switch (state)
        {
        case StateQuickStop:
            if (speed != 0)
                break;
            outputs.setSpeed(0);
            if (hasJogged)
            {
                target = 0;
                state = StateJogging;
            }
            else
                enterVelocity();
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Trip& trip)
    {
        switch (state)
        {
        case StateFault:
        case StateStopped:
            break;
        default:
            leave();
            enterFault(trip.code);
        }
    }

    void handle(const Reset&)
    {
        switch (state)
        {
        case StateFault:
            leave();
            state = StateReady;
            break;
        case StateStopped:
            break;
        default:
            ++ignored;
        }
    }

    void handle(const Tick&)
    {
        switch (state)
        {
        case StateVelocity:
        case StateJogging:
            speed = Enabled::stepTowards(target, speed, Drive::ramp);
            outputs.setSpeed(speed);
            break;
        case StateQuickStop:
            speed = Enabled::stepTowards(0, speed, Drive::quickRamp);
            outputs.setSpeed(speed);
            break;
        default:
            break;
        }
    }

    const char* stateName() const
    {
        static constexpr const char* names[] = {"Ready",     "Standby", "Velocity", "Jogging",
                                                "QuickStop", "Fault",   "(stopped)"};
        return names[state];
    }

    int ignored = 0;

private:
    void enterVelocity()
    {
        target = velocity;
        state = StateVelocity;
    }

    void enterFault(int faultCode)
    {
        code = faultCode;
        outputs.setFaultLamp(true);
        state = StateFault;
    }

    void leaveEnabled()
    {
        hasJogged = state == StateJogging;
        outputs.setSpeed(0);
    }

    /// What is switched on in the state is switched off.
    void leave()
    {
        switch (state)
        {
        case StateVelocity:
        case StateJogging:
            leaveEnabled();
            outputs.setPower(false);
            break;
        case StateQuickStop:
            outputs.setSpeed(0);
            outputs.setPower(false);
            break;
        case StateStandby:
            outputs.setPower(false);
            break;
        case StateFault:
            outputs.setFaultLamp(false);
            break;
        default:
            break;
        }
    }

    IDriveOutputs& outputs;
    eState state = StateStopped;
    bool hasJogged = false;
    int code = 0;
    int speed = 0;
    int target = 0;
    int velocity = 0;
};

#endif
