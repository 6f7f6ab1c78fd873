// A motor drive on a board: an operator's commands and a timer's ticks reach its state machine through a queue.
//
//   motor_drive                            a demonstration
//   motor_drive FILE                       commands from a file, one in a line
//   motor_drive --diagram mermaid|dot|plantuml

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include <kiv/AlarmTimer.h>
#include <kiv/EventQueue.h>
#include <kiv/StateMachineDiagram.h>
#include <kiv/Thread.h>

#include "BoardOutputs.h"
#include "Drive.h"

namespace
{

using DriveQueue = Kiv::CEventQueue<DriveMachine::AnyEvent, 16>;

constexpr std::chrono::seconds patience(10); // with a drive that does not listen, or does not get there

constexpr const char* demonstration = R"(on
enable
speed 600
until 600
halt
until 0
resume
until 600
jog -100
until -100
halt
until 0
resume
jog 0
until 600
trip 7
reset
)";

/// Gives commands, on a thread of its own.
class COperator : public Kiv::CThread
{
public:
    /// Reads the drive's speed from `driveSpeed`, which changes between events only.
    COperator(std::istream& commandStream, DriveQueue& eventQueue, const std::atomic<int>& driveSpeed)
        : CThread("operator"), commands(commandStream), queue(eventQueue), speed(driveSpeed)
    {}

    ~COperator() override
    {
        requestStop();
        waitForCompletion(1000);
    }

private:
    void run() override
    {
        for (std::string line; isActive() && std::getline(commands, line);)
            obey(line);
        queue.close();
    }

    void obey(const std::string& line)
    {
        std::istringstream words(line);
        std::string command;
        int number = 0;
        words >> command >> number;
        if (command == "until")
            waitFor(number);
        else if (command == "on")
            tell(SwitchOn());
        else if (command == "off")
            tell(ShutDown());
        else if (command == "enable")
            tell(Enable());
        else if (command == "disable")
            tell(Disable());
        else if (command == "speed")
            tell(SetSpeed{number});
        else if (command == "jog")
            tell(Jog{number});
        else if (command == "halt")
            tell(Halt());
        else if (command == "resume")
            tell(Resume());
        else if (command == "trip")
            tell(Trip{number});
        else if (command == "reset")
            tell(Reset());
        else
            std::fprintf(stderr, "unknown command: %s\n", line.c_str());
    }

    void tell(const DriveMachine::AnyEvent& event)
    {
        if (!queue.post(event, Kiv::CDeadline::in(patience)))
            std::fputs("the drive does not listen\n", stderr);
    }

    void waitFor(int rpm)
    {
        const auto end = Kiv::CDeadline::in(patience);
        while (isActive() && speed != rpm && !end.isExpired())
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        if (isActive() && speed != rpm)
            std::fprintf(stderr, "the drive does not get to %d rpm\n", rpm);
    }

    std::istream& commands;
    DriveQueue& queue;
    const std::atomic<int>& speed;
};

void run(CBoardOutputs& outputs, std::istream& commands)
{
    DriveMachine drive(outputs);
    DriveQueue queue;
    Kiv::CAlarmTimer ticker(2);
    ticker.setAlarmCallback([&queue] { return queue.post(Tick()), true; }); // a full queue may lose one
    std::atomic<int> speed{0};
    COperator boss(commands, queue, speed);

    drive.start();
    ticker.start();
    boss.start();
    std::size_t shown = drive.chart().stateCount;
    DriveMachine::AnyEvent event;
    do
    {
        if (drive.state() != shown)
            std::printf("%s\n", drive.stateName());
        shown = drive.state();
        if (queue.take(event, 100))
            drive.handle(event);
        speed = outputs.lastSpeed(); // not in the middle of an event: a quick stop lets the motor go for a moment
    } while (drive.state() != shown || !queue.isClosed() || queue.pending() > 0);
    ticker.stop();
    drive.stop();
    std::printf("%s\n", drive.stateName());
}

int printDiagram(const char* language)
{
    const Macho::CMirror mirror(DriveMachine::chart());
    const bool isMermaid = std::strcmp(language, "mermaid") == 0;
    const bool isDot = std::strcmp(language, "dot") == 0;
    if (!isMermaid && !isDot && std::strcmp(language, "plantuml") != 0)
        return std::fprintf(stderr, "unknown language: %s\n", language), 2;
    const Kiv::eDiagramFormat format = isMermaid ? Kiv::DiagramMermaid : isDot ? Kiv::DiagramDot : Kiv::DiagramPlantUml;
    std::fputs(stateMachineDiagram(mirror.machine(), format).c_str(), stdout);
    return 0;
}

} // namespace

int main(int argc, char* argv[])
{
    if (argc == 3 && std::strcmp(argv[1], "--diagram") == 0)
        return printDiagram(argv[2]);
    if (argc > 2)
        return std::fprintf(stderr, "usage: %s [FILE | --diagram mermaid|dot|plantuml]\n", argv[0]), 2;
    CBoardOutputs outputs;
    if (!outputs.open())
        return 1;
    std::istringstream builtIn(demonstration);
    std::ifstream file;
    if (argc == 2)
        file.open(argv[1]);
    if (argc == 2 && !file)
        return std::fprintf(stderr, "%s: cannot be read\n", argv[1]), 1;
    run(outputs, argc == 2 ? static_cast<std::istream&>(file) : builtIn);
    return 0;
}
