// Ends, or survives, in the way that its argument names. A process that does not end is killed by its own alarm.

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <unistd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/Thread.h>
#include <kiv/TinySimpleFSM.h>
#include <kiv/diag.h>

#include "support/WaitUntil.h"

extern "C" const char* __tsan_default_options() { return "report_signal_unsafe=0:atexit_sleep_ms=0"; }

namespace
{

struct CTelling
{
    explicit CTelling(const char* name) : text(name) {}
    ~CTelling() { std::puts(text); }
    const char* text;
};

/// A machine whose worker calls a function in the middle of an entry.
struct CActingMachine
{
    explicit CActingMachine(std::function<void()> function)
        : machine(new Kiv::CStateMachine(Kiv::CStateMachine::ProcessingAsync)), act(std::move(function))
    {
        auto* const idle = new Kiv::CState("idle", machine.get());
        auto* const busy = new CBusy(*this);
        machine->setInitialState(idle);
        idle->addEventTransitionTo(busy, 1);
        machine->start();
    }

    struct CBusy : Kiv::CState
    {
        explicit CBusy(CActingMachine& of) : CState("busy", of.machine.get()), owner(of) {}
        ~CBusy() override { std::puts("state destroyed"); }
        void onEntry() override
        {
            CState::onEntry();
            owner.act();
        }
        CActingMachine& owner;
    };

    std::unique_ptr<Kiv::CStateMachine> machine;
    std::function<void()> act;
};

/// Leaves its end to the library, so the body touches nothing but statics.
template<void (*body)()>
struct CCareless : Kiv::CThread
{
    CCareless() : CThread("careless") {}
    void run() override { body(); }
};

std::atomic<bool> release{false};
std::atomic<bool> begun{false};
std::atomic<bool> ended{false};

struct EndMark
{
    ~EndMark() { ended = true; }
};

bool haveEnded()
{
    return waitUntil([] { return ended.load(); });
}

void waitForRelease()
{
    waitUntil([] { return release.load(); });
}
void sleepOn() { Kiv::CThread::sleep(3600 * 1000); }
void exitWith3() { std::exit(3); }

[[noreturn]] void waitForTheEnd()
{
    for (;;)
        pause();
}

/// The hook of a static machine ends the process.
[[noreturn]] void endInHook(const std::function<void()>& act)
{
    static const CTelling first("later static object destroyed");
    static CActingMachine acting(act);
    acting.machine->postEvent(1);
    waitForTheEnd();
}

[[noreturn]] void failInHook(const std::function<void()>& act)
{
    Kiv::Diag::installDiagnosticSignalHandlers();
    endInHook(act);
}

[[noreturn]] void deleteInHook()
{
    static CActingMachine* acting = nullptr;
    acting = new CActingMachine([] { acting->machine.reset(); });
    acting->machine->postEvent(1);
    waitForTheEnd();
}

[[noreturn]] void exitInBody()
{
    static const CTelling first("later static object destroyed");
    static CCareless<exitWith3> thread;
    thread.start();
    waitForTheEnd();
}

[[noreturn]] void exitInAlarm()
{
    static const CTelling first("later static object destroyed");
    static Kiv::CAlarmTimer timer(1);
    timer.setAlarmCallback(cb::Callback0<bool>([]() -> bool { std::exit(3); }));
    timer.start();
    waitForTheEnd();
}

Kiv::CThread* selfDeleting = nullptr;

void deleteSelf()
{
    const EndMark mark;
    delete selfDeleting;
}

int deleteInBody()
{
    selfDeleting = new CCareless<deleteSelf>;
    selfDeleting->start();
    return haveEnded() ? 0 : 9;
}

Kiv::CThread* awaited = nullptr;

void waitForOther()
{
    const EndMark mark;
    begun = true;
    awaited->waitForCompletion(60000);
    sleepOn();
}

/// A body is terminated while it waits for another thread, which has to stay usable.
int terminateWhileWaitingForThread()
{
    CCareless<waitForRelease> other;
    awaited = &other;
    other.start();
    {
        CCareless<waitForOther> waiter;
        waiter.start();
        waitUntil([] { return begun.load(); });
    }
    release = true;
    return waitUntil([&] { return other.waitForCompletion(1000); }) && haveEnded() ? 0 : 9;
}

/// An alarm handler is terminated while it stops a machine, whose hook is in progress.
int terminateWhileStoppingMachine()
{
    static std::atomic<bool> hookBegun{false};
    static CActingMachine acting([] {
        hookBegun = true;
        waitForRelease();
    });
    acting.machine->postEvent(1);
    waitUntil([] { return hookBegun.load(); });
    Kiv::CAlarmTimer timer(1, 1);
    timer.setAlarmCallback(cb::Callback0<bool>([] {
        const EndMark mark;
        begun = true;
        acting.machine->stop();
        sleepOn();
        return true;
    }));
    timer.start();
    waitUntil([] { return begun.load(); });
    timer.stop();
    const bool unwound = haveEnded();
    release = true;
    acting.machine->stop();
    return unwound && waitUntil([] { return acting.machine->currentChild() == nullptr; }) ? 0 : 9;
}

void destroyOthers()
{
    const EndMark mark;
    for (;; begun = true, Kiv::CThread::sleep(1))
    {
        CCareless<sleepOn> inner;
        inner.start();
    }
}

/// A body is terminated while it destroys other threads: nothing may unwind a destructor.
int terminateWhileDestroying()
{
    {
        CCareless<destroyOthers> destroyer;
        destroyer.start();
        waitUntil([] { return begun.load(); });
    }
    return haveEnded() ? 0 : 9;
}

int returnFromMain()
{
    static const CTelling first("later static object destroyed");
    static CActingMachine acting([] {});
    acting.machine->postEvent(1);
    return waitUntil([] { return acting.machine->pendingEvents() == 0; }) ? 5 : 9;
}

std::atomic<bool> isHookHanging{false};

struct CHanging : Kiv::CState
{
    using CState::CState;
    void onEntry() override
    {
        isHookHanging = true;
        for (;;)
            pause();
    }
};

/// A static machine whose hook never ends.
int returnWhileHookHangs(int status)
{
    static const CTelling first("later static object destroyed");
    static Kiv::CStateMachine machine(Kiv::CStateMachine::ProcessingAsync);
    auto* const idle = new Kiv::CState("idle", &machine);
    machine.setInitialState(idle);
    idle->addEventTransitionTo(new CHanging("hanging", &machine), 1);
    machine.start();
    machine.postEvent(1);
    std::fputs("a line without its end", stdout); // stays in the buffer until somebody flushes it
    return waitUntil([] { return isHookHanging.load(); }) ? status : 9;
}

} // namespace

int main(int, char** arguments)
{
    alarm(30);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    const struct
    {
        const char* name;
        std::function<int()> run;
    } endings[] = {
        {"hook crashes",
         [] {
             failInHook([] { raise(SIGSEGV); });
             return 9;
         }},
        {"hook aborts",
         [] {
             failInHook([] { std::abort(); });
             return 9;
         }},
        {"hook throws",
         [] {
             failInHook([] { throw std::runtime_error("hook"); });
             return 9;
         }},
        {"hook exits",
         [] {
             endInHook([] { std::exit(3); });
             return 9;
         }},
        {"hook deletes",
         [] {
             deleteInHook();
             return 9;
         }},
        {"body exits",
         [] {
             exitInBody();
             return 9;
         }},
        {"alarm exits",
         [] {
             exitInAlarm();
             return 9;
         }},
        {"body deletes", deleteInBody},
        {"terminated in wait", terminateWhileWaitingForThread},
        {"terminated in stop", terminateWhileStoppingMachine},
        {"terminated in destructor", terminateWhileDestroying},
        {"main returns", returnFromMain},
        {"main returns while a hook hangs", [] { return returnWhileHookHangs(5); }},
        {"another thread exits while a hook hangs",
         [] {
             const int status = returnWhileHookHangs(4);
             std::thread([status] { std::exit(status); }).join();
             return 9;
         }},
    };
    for (const auto& ending : endings)
        if (std::strcmp(arguments[1], ending.name) == 0)
            return ending.run();
    return 127;
}
