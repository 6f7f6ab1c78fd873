// A window into the process, for `kiv look`.

// [inspection]
#include <cstdio>
#include <string>

#include <kiv/AlarmTimer.h>
#include <kiv/Inspection.h>
#include <kiv/StateMachine.h>

enum eEvent : unsigned char
{
    EventDry = 1,
    EventWet = 2
};

int main()
{
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const idle = new Kiv::CState("Idle", &machine);
    auto* const watering = new Kiv::CState("Watering", &machine);
    machine.setInitialState(idle);
    idle->addEventTransitionTo(watering, EventDry, "dry");
    watering->addEventTransitionTo(idle, EventWet, "wet");
    Kiv::CAlarmTimer sampling(250);

    Kiv::CInspection inspection("greenhouse", "."); // last, so that it goes first; a service leaves the folder out
    inspection.show(machine, "irrigation");
    inspection.show(sampling);
    inspection.show("moisture", [] { return std::to_string(37) + " %"; });
    inspection.allow(machine, EventWet); // nothing else can be posted from outside

    machine.start();
    std::printf("%d %s\n", inspection.result(), inspection.path().c_str());
    machine.stop();
}
// [inspection]
