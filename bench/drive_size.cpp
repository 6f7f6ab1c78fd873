// The motor drive of the examples as a typed machine, or with BY_SWITCH as a switch written by hand: compiled for
// `size`.

#include "Drive.h"
#include "support/DriveBySwitch.h"

#ifdef BY_SWITCH
using SizedDrive = CDriveBySwitch;
#else
using SizedDrive = Macho::CMachine<Drive>;
#endif

void start(SizedDrive& drive);
void stop(SizedDrive& drive);
void handle(SizedDrive& drive, const DriveMachine::AnyEvent& event);

void start(SizedDrive& drive) { drive.start(); }

void stop(SizedDrive& drive) { drive.stop(); }

void handle(SizedDrive& drive, const DriveMachine::AnyEvent& event)
{
    std::visit([&drive](const auto& typed) { drive.handle(typed); }, event);
}
