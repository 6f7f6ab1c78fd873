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
    Kiv::Diag::init(here + "/logging.properties");
    Kiv::CIniFile ini(here + "/first_steps.ini");
    ini.load();

    Kiv::CStateMachine lamp(Kiv::CStateMachine::ProcessingAsync); // on a thread of its own
    auto* dark = new Kiv::CState("dark", &lamp);                  // the machine owns its states
    auto* lit = new Kiv::CState("lit", &lamp);
    lamp.setInitialState(dark);
    dark->addEventTransitionTo(lit, EventOn, "switch on");
    lit->addEventTransitionTo(dark, EventOff, "switch off");
    lamp.setLogMessageCallback([](const std::string& line) { std::puts(line.c_str()); });
    lamp.start();

    int beats = 0;
    Kiv::CAlarmTimer timer(static_cast<unsigned>(ini.readInteger("Lamp", "Interval", 500)), 6); // six alarms
    timer.setAlarmCallback([&] { return lamp.postEvent(beats++ % 2 ? EventOff : EventOn), true; });
    timer.start();
    while (timer.isStarted())
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    lamp.stop();
}
// [first_steps]
