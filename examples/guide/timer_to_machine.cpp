// Timers give a machine its deadlines: each posts an event, and the machine decides what that means.

// [timer_to_machine]
#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

#include <kiv/AlarmTimer.h>
#include <kiv/TinySimpleFSM.h>

enum eDoorEvent : unsigned char
{
    EventOpen,
    EventTimeOver
};

class CDoor : public sigslot::has_slots<>
{
public:
    CDoor()
    {
        machine.setInitialState(closed);
        closed->addEventTransitionTo(open, EventOpen);
        open->addEventTransitionTo(closed, EventTimeOver);
        open->sigEntered.connect(this, &CDoor::onOpen);
        closed->sigEntered.connect(this, &CDoor::onClosed);
        timer.setAlarmCallback([this] { return machine.postEvent(EventTimeOver), true; }); // on the timer's thread
        machine.start();
    }

    ~CDoor() override
    {
        timer.stop();
        machine.stop();
    }

    void press() { machine.postEvent(EventOpen); } // from any thread
    bool hasClosedAgain() const { return visits > 0 && closed->isActive(); }

private:
    // On the machine's worker thread.
    void onOpen(Kiv::CAbstractState*)
    {
        std::puts("open");
        ++visits;
        timer.start(); // one alarm; started again while it runs, it begins anew
    }
    void onClosed(Kiv::CAbstractState*) { std::puts("closed"); }

    std::atomic<int> visits{0};
    Kiv::CAlarmTimer timer{50, 1}; // 50 ms, once
    Kiv::CStateMachine machine{Kiv::CStateMachine::ProcessingAsync};
    Kiv::CState* closed = new Kiv::CState("closed", &machine);
    Kiv::CState* open = new Kiv::CState("open", &machine);
};

int main()
{
    CDoor door;
    door.press();
    while (!door.hasClosedAgain())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}
// [timer_to_machine]
