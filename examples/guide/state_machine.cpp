// A heater that goes on where it was after a fault.

// [state_machine]
#include <cstdio>
#include <fstream>

#include <kiv/StateMachineDiagram.h>
#include <kiv/TinySimpleFSM.h>

enum eHeaterEvent : unsigned char
{
    EventCold,
    EventWarm,
    EventFault,
    EventAcknowledged
};

class CHeater : public sigslot::has_slots<>
{
public:
    CHeater()
    {
        // [history]
        machine.setInitialState(working);
        working->setInitialState(idle);
        working->addHistoryState()->setDefaultState(idle); // from now on "working" means: what it was doing
        idle->addEventTransitionTo(heating, EventCold, "cold");
        heating->addEventTransitionTo(idle, EventWarm, "warm");
        working->addEventTransitionTo(fault, EventFault, "fault");
        fault->addEventTransitionTo(working, EventAcknowledged, "acknowledged");
        // [history]

        heating->sigEntered.connect(this, &CHeater::onHeating);
        heating->sigExited.connect(this, &CHeater::onHeated);
        machine.start();
    }

    ~CHeater() override { machine.stop(); }

    void handle(eHeaterEvent event)
    {
        machine.postEvent(event);
        machine.process();
    }

    void draw(const char* path) const { std::ofstream(path) << stateMachineDiagram(machine, Kiv::DiagramDot); }

private:
    void onHeating(Kiv::CAbstractState*) { std::puts("heating on"); }
    void onHeated(Kiv::CAbstractState*) { std::puts("heating off"); }

    Kiv::CStateMachine machine;                                  // synchronous: it does everything in process()
    Kiv::CState* working = new Kiv::CState("working", &machine); // the machine owns its states
    Kiv::CState* idle = new Kiv::CState("idle", working);
    Kiv::CState* heating = new Kiv::CState("heating", working);
    Kiv::CState* fault = new Kiv::CState("fault", &machine);
};

int main()
{
    CHeater heater;
    heater.handle(EventCold);
    heater.draw("heater.dot"); // with "heating" highlighted
    heater.handle(EventFault); // leaves "heating" and "working"
    heater.handle(EventAcknowledged);
    heater.handle(EventWarm);
}
// [state_machine]
