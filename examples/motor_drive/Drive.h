/// The state machine of a motor drive.
///
///   Ready ──SwitchOn──> On { Standby ──Enable──> Enabled { Velocity, Jogging }, QuickStop } ──Trip──> Fault
///
/// Ready ("ready to switch on") has no power. Standby ("switched on") has power, the motor stands. Enabled ("operation
/// enabled") turns the motor; QuickStop slows it down. Fault waits for Reset. The power is on in On and nowhere else,
/// and the motor's speed is set in Enabled and QuickStop and nowhere else: that is what the hierarchy is for.
#ifndef KIV_MOTOR_DRIVE_DRIVE_H
#define KIV_MOTOR_DRIVE_DRIVE_H

#include <kiv/Macho.h>
#include <kiv/MachoMirror.h>

#include "DriveOutputs.h"

// ---- events

struct SwitchOn
{};
struct ShutDown
{};
struct Enable
{};
struct Disable
{};
/// Velocity mode's target.
struct SetSpeed
{
    int rpm;
};
/// Turns slowly as long as the button is held; 0 when it is released.
struct Jog
{
    int rpm;
};
struct Halt
{};
/// Goes on after a quick stop as before.
struct Resume
{};
struct Trip
{
    int code;
};
struct Reset
{};
/// Time goes by: the period of the ramps.
struct Tick
{};

// ---- states

struct Ready;
struct On;
struct Standby;
struct Enabled;
struct Velocity;
struct Jogging;
struct QuickStop;
struct Fault;

/// The root: what all states share, and what happens to events that do not fit.
struct Drive
    : Macho::Root<Macho::Events<SwitchOn, ShutDown, Enable, Disable, SetSpeed, Jog, Halt, Resume, Trip, Reset, Tick>,
                  Macho::States<Ready, On, Standby, Enabled, Velocity, Jogging, QuickStop, Fault>,
                  Macho::InitialState<Ready>>
{
    static constexpr int ramp = 50;       ///< rpm that the speed changes by in a tick
    static constexpr int quickRamp = 200; ///< the same for a quick stop
    static constexpr int noPower = 1;     ///< code of the fault of a power stage that does not follow

    explicit Drive(IDriveOutputs& hardware) : outputs(hardware) {}

    void on(Macho::Other) { ++ignored; }
    void on(const Tick&) {}
    Macho::ToAdapted<Fault, int> on(const Trip& trip) { return {trip.code}; }

    IDriveOutputs& outputs;
    int ignored = 0; ///< events that did not fit
};

struct Ready : Macho::State<Drive>
{
    Macho::To<On> on(const SwitchOn&) { return {}; }
};

struct On : Macho::State<Drive, Macho::InitialState<Standby>>
{
    Macho::Next<Macho::ToAdapted<Fault, int>> on(Macho::Entry, Drive& drive)
    {
        if (!drive.outputs.setPower(true))
            return Macho::ToAdapted<Fault, int>(Drive::noPower);
        return Macho::Stay();
    }
    void on(Macho::Exit, Drive& drive) { drive.outputs.setPower(false); }
    Macho::To<Ready> on(const ShutDown&) { return {}; }
};

struct Standby : Macho::State<On>
{
    Macho::To<Enabled> on(const Enable&) { return {}; }
};

// [adapting]
/// Remembers whether it was in velocity mode or jogging.
struct Enabled : Macho::State<On, Macho::InitialState<Velocity>, Macho::Remembered>
{
    void on(Macho::Exit, Drive& drive) { drive.outputs.setSpeed(0); }
    Macho::To<Standby> on(const Disable&) { return {}; }
    Macho::ToAdapted<QuickStop, int> on(const Halt&) { return {speed}; } // which goes on from there
    void on(const Tick&, Drive& drive)
    {
        speed = stepTowards(target, speed, Drive::ramp);
        drive.outputs.setSpeed(speed);
    }

    static int stepTowards(int wanted, int from, int step)
    {
        const int rest = wanted - from;
        return from + (rest > step ? step : rest < -step ? -step : rest);
    }

    int speed = 0;
    int target = 0;
};
// [adapting]

/// Kept: after a quick stop the target is still there.
struct Velocity : Macho::State<Enabled, Macho::Kept>
{
    void on(Macho::Entry, Enabled& enabled) { enabled.target = target; }
    void on(const SetSpeed& wanted, Enabled& enabled) { enabled.target = target = wanted.rpm; }
    Macho::ToAdapted<Jogging, int> on(const Jog& wanted) { return {wanted.rpm}; }

    int target = 0;
};

/// Only an adapting entry gives it a speed; one by history finds the button released.
struct Jogging : Macho::State<Enabled>
{
    explicit Jogging(int speedOfButton = 0) : rpm(speedOfButton) {}
    void on(Macho::Entry, Enabled& enabled) { enabled.target = rpm; }
    Macho::Next<Macho::To<Velocity>> on(const Jog& wanted, Enabled& enabled)
    {
        if (wanted.rpm == 0)
            return Macho::To<Velocity>();
        enabled.target = wanted.rpm;
        return Macho::Stay();
    }

    int rpm;
};

// [history]
struct QuickStop : Macho::State<On>
{
    explicit QuickStop(int speedBefore) : speed(speedBefore) {}
    void on(Macho::Entry, Drive& drive) { drive.outputs.setSpeed(speed); }
    void on(Macho::Exit, Drive& drive) { drive.outputs.setSpeed(0); }
    void on(const Tick&, Drive& drive)
    {
        speed = Enabled::stepTowards(0, speed, Drive::quickRamp);
        drive.outputs.setSpeed(speed);
    }
    Macho::Next<Macho::ToHistory<Enabled>> on(const Resume&)
    {
        if (speed != 0) // the guard
            return Macho::Stay();
        return Macho::ToHistory<Enabled>();
    }
    Macho::To<Standby> on(const Disable&) { return {}; }

    int speed;
};
// [history]

/// Made from the code of the fault; a further one while it is there changes nothing.
struct Fault : Macho::State<Drive>
{
    explicit Fault(int faultCode) : code(faultCode) {}
    void on(Macho::Entry, Drive& drive) { drive.outputs.setFaultLamp(true); }
    void on(Macho::Exit, Drive& drive) { drive.outputs.setFaultLamp(false); }
    void on(const Trip&) {}
    Macho::To<Ready> on(const Reset&) { return {}; }

    const int code;
};

using DriveMachine = Macho::CMachine<Drive, Macho::CMirror>;

#endif
