// Ends in the way that its argument names, with the diagnostic signal handlers installed.

#include <kiv/diag.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string>

#include <unistd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/TinySimpleFSM.h>

// What the handler does on purpose and ThreadSanitizer reports: it formats and allocates, and it lets exit() destroy
// log4cplus while other threads still log. The reports stay readable, but the status is the handler's.
extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0:atexit_sleep_ms=0:exitcode=1"; }

extern "C" __attribute__((noinline)) void fail_in_c(int sig)
{
    raise(sig);
    std::abort();
}

namespace
{

/// A machine that posts to itself for ever, on its worker thread.
struct CBusyMachine
{
    CBusyMachine() : machine(Kiv::CStateMachine::ProcessingAsync), state(new Kiv::CState("S", &machine))
    {
        machine.setInitialState(state);
        state->addEventTransitionTo(state, 1);
        state->sigEntered.connect(&poster, &CPoster::onEntered);
        machine.start();
        machine.postEvent(1);
    }

    struct CPoster : sigslot::has_slots<>
    {
        void onEntered(Kiv::CAbstractState* state)
        {
            if (state->machine())
                state->machine()->postEvent(1);
        }
    } poster;
    Kiv::CStateMachine machine;
    Kiv::CState* state;
};

[[noreturn]] void crashUnderLoad()
{
    Kiv::Diag::init();
    static CBusyMachine* const busy = new CBusyMachine;
    static_cast<void>(busy);
    static Kiv::CAlarmTimer* const timers[] = {new Kiv::CAlarmTimer(1), new Kiv::CAlarmTimer(1)};
    for (Kiv::CAlarmTimer* timer : timers)
        timer->start();
    usleep(20000);
    raise(SIGSEGV);
    std::abort();
}

} // namespace

int main(int argc, char** argv)
{
    const std::string way = argc > 1 ? argv[1] : "";
    Kiv::Diag::installDiagnosticSignalHandlers();
    if (way == "load")
        crashUnderLoad();
    if (way == "call")
        Kiv::Diag::OnSignal(10);
    if (way == "exit-handler-fails")
    {
        std::atexit([] { raise(SIGSEGV); });
        raise(SIGSEGV);
    }
    fail_in_c(std::atoi(way.c_str()));
}
