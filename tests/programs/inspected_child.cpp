// A controller that is looked at: each line on standard input is the number of an event. inspected_child NAME FOLDER
#include <atomic>
#include <iostream>
#include <string>

#include <kiv/Inspection.h>
#include <kiv/StateMachine.h>

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const off = new Kiv::CState("Off", &machine);
    auto* const on = new Kiv::CState("On", &machine);
    machine.setInitialState(off);
    on->setChildMode(Kiv::CState::ChildModeParallel);
    auto* const heating = new Kiv::CState("Heating", on);
    auto* const fan = new Kiv::CState("<b>Fan & more</b>", on);
    heating->setInitialState(new Kiv::CState("Warm", heating));
    auto* const slow = new Kiv::CState("Slow", fan);
    auto* const fast = new Kiv::CState("Fast", fan);
    fan->setInitialState(slow);
    off->addEventTransitionTo(on, 1, "switch on");
    on->addEventTransitionTo(off, 2, "switch off");
    slow->addEventTransitionTo(fast, 3, "faster");
    fast->addEventTransitionTo(slow, 4, "slower");
    std::atomic<unsigned> lines{0};

    Kiv::CInspection inspection(argv[1], argv[2]);
    inspection.show(machine, "oven");
    inspection.show("lines", [&] { return std::to_string(lines); });
    inspection.allow(machine, 2);
    machine.start();
    std::cout << inspection.result() << std::endl;
    for (std::string line; std::getline(std::cin, line); ++lines)
        machine.postEvent(static_cast<unsigned char>(std::stoi(line)));
    machine.stop();
}
