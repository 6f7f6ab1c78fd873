// A door whose states are types: a timer and another thread reach it through a queue.

// [smallest]
#include <kiv/Macho.h>

// The events, with what they carry.
struct Press
{
    int floor;
};
struct TimeOver
{};

struct Closed; // the states, each defined below
struct Open;

// The root: lists everything, holds what all states share, handles what no state handles.
struct Door : Macho::Root<Macho::Events<Press, TimeOver>, Macho::States<Closed, Open>, Macho::InitialState<Closed>>
{
    void on(Macho::Other) {}
    int presses = 0;
};

struct Closed : Macho::State<Door>
{
    Macho::To<Open> on(const Press&, Door& door)
    {
        ++door.presses;
        return {};
    }
};

struct Open : Macho::State<Door>
{
    Macho::To<Closed> on(const TimeOver&) { return {}; }
};

using DoorMachine = Macho::CMachine<Door>;
// [smallest]

// [queue]
#include <cstdio>
#include <thread>

#include <kiv/AlarmTimer.h>
#include <kiv/EventQueue.h>

int main()
{
    DoorMachine door;
    Kiv::CEventQueue<DoorMachine::AnyEvent, 16> queue;

    Kiv::CAlarmTimer timer(20, 1);                                             // 20 ms, once
    timer.setAlarmCallback([&queue] { return queue.post(TimeOver()), true; }); // on the timer's thread
    std::thread button([&queue] { queue.post(Press{2}); });

    door.start();
    DoorMachine::AnyEvent event;
    while (queue.take(event, 10000)) // the thread that the machine belongs to
    {
        door.handle(event);
        std::printf("%s\n", door.stateName());
        if (door.isIn<Open>())
            timer.start();
        else
            queue.close();
    }
    door.stop();
    button.join();
}
// [queue]
