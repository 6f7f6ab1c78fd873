// A lamp that blinks: an INI file says how fast, an alarm timer gives the beat, a state machine is the lamp.

// [first_steps]
#include <chrono>
#include <cstdio>
#include <thread>

#include <kiv/kiv.h>

enum eLampEvent : unsigned char
{
    EventOn,
    EventOff
};

int main()
{
    const std::string here = Kiv::getApplicationDirPath();
    Kiv::Diag::initOrDefault(here + "/logging.properties");
    std::chrono::milliseconds interval(500);
    Kiv::CSettings settings;
    settings.section("Lamp");
    settings.add("Interval", interval, "From one change to the next.")
        .range(std::chrono::milliseconds(1), std::chrono::hours(1));
    if (settings.read(here + "/first_steps.ini") != 0)
        std::fputs(settings.faultText().c_str(), stderr); // it goes on with half a second

    Kiv::CStateMachine lamp(Kiv::CStateMachine::ProcessingAsync); // on a thread of its own
    auto* dark = new Kiv::CState("dark", &lamp);                  // the machine owns its states
    auto* lit = new Kiv::CState("lit", &lamp);
    lamp.setInitialState(dark);
    dark->addEventTransitionTo(lit, EventOn, "switch on");
    lit->addEventTransitionTo(dark, EventOff, "switch off");
    lamp.setLogMessageCallback([](const std::string& line) { std::puts(line.c_str()); });
    lamp.start();

    int beats = 0;
    Kiv::CAlarmTimer timer(static_cast<unsigned>(interval.count()), 6); // six alarms
    timer.setAlarmCallback([&] { return lamp.postEvent(beats++ % 2 ? EventOff : EventOn), true; });
    timer.start();
    while (timer.isStarted())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    lamp.stop();
}
// [first_steps]
