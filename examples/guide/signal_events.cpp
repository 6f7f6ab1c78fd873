// Signals that become events: those of the system, SIGTERM and SIGHUP, and those that a state emits.

// [signal_events]
#include <csignal>
#include <cstdio>

#include <unistd.h>

#include <kiv/TinySimpleFSM.h>

enum eEvent : unsigned char
{
    EventReload,
    EventStop
};

class CController : public sigslot::has_slots<>
{
public:
    CController()
    {
        machine.setInitialState(running);
        running->addEventTransitionTo(running, EventReload, "read the settings anew");
        running->addEventTransitionTo(stopped, EventStop);
        running->sigEntered.connect(this, &CController::onRunning); // called where the state is entered
        stopped->sigEntered.connect(this, &CController::onStopped);
        machine.start();
    }
    ~CController() override { machine.stop(); }

    void post(eEvent event) { machine.postEvent(event); } // from any thread

private:
    // On the machine's worker: what goes on from here posts events, to this machine or to another one.
    void onRunning(Kiv::CAbstractState*) { std::puts("running"); }
    void onStopped(Kiv::CAbstractState*)
    {
        std::puts("stopped");
        kill(getpid(), SIGUSR1); // the main thread may go
    }

    Kiv::CStateMachine machine{Kiv::CStateMachine::ProcessingAsync};
    Kiv::CState* running = new Kiv::CState("running", &machine);
    Kiv::CState* stopped = new Kiv::CState("stopped", &machine);
};

int main()
{
    sigset_t waited;
    sigemptyset(&waited);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGUSR1})
        sigaddset(&waited, signal);
    pthread_sigmask(SIG_BLOCK, &waited, nullptr); // before any thread is there: all inherit it

    CController controller;
    kill(getpid(), SIGHUP); // for the trial: as `systemctl reload` and `systemctl stop` do
    for (int signal = 0; sigwait(&waited, &signal) == 0 && signal != SIGUSR1;)
    {
        controller.post(signal == SIGHUP ? EventReload : EventStop);
        if (signal == SIGHUP)
            kill(getpid(), SIGTERM);
    }
}
// [signal_events]
