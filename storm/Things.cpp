#include "Things.h"

#include <chrono>
#include <new>
#include <string>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <kiv/AlarmTimer.h>
#include <kiv/Thread.h>
#include <kiv/TinySimpleFSM.h>

namespace Storm
{

namespace
{

/// A termination takes effect between two milliseconds: in the middle of a wait that it watches, ThreadSanitizer would
/// lose its view of the thread.
void sleepFor(unsigned msecs)
{
    for (; msecs > 0; --msecs)
    {
        const timespec one{0, 1000000};
        syscall(SYS_nanosleep, &one, nullptr);
        pthread_testcancel();
    }
}

/// What hooks, handlers and bodies do: allocate, sleep, take too long, start and stop things of their own.
class CActor
{
public:
    CActor(Scene& inScene, std::uint64_t seed, bool isNested = false)
        : scene(inScene), dice(seed), mayNest(inScene.plan.nested && !isNested),
          mayBeSlow(inScene.plan.slow || isNested)
    {}

    void act()
    {
        switch (dice.below(12))
        {
        case 0:
        case 1:
            return sleepFor(dice.below(3));
        case 2:
            return mayBeSlow && dice.onceIn(4) ? sleepFor(120 + dice.below(250)) : sleepFor(0);
        case 3:
        case 4:
            return mayNest ? nest() : sleepFor(1);
        default:
            allocate();
        }
    }

    CDice& ownDice() { return dice; }
    Scene& ownScene() { return scene; }

private:
    void allocate()
    {
        for (unsigned left = dice.below(20); left > 0; --left)
            static_cast<void>(std::string(dice.below(2000), 'x') + "y");
    }

    void nest();

    Scene& scene;
    CDice dice;
    const bool mayNest;
    const bool mayBeSlow;
};

// ---- machines

enum eEvent : unsigned char
{
    EventGo,
    EventBack,
    EventTurn
};

class CStormState : public Kiv::CState
{
public:
    CStormState(const char* name, Kiv::CState* parent, CActor& doing) : CState(name, parent), actor(doing) {}
    ~CStormState() override
    {
        if (actor.ownScene().plan.lastWords && machine())
            static_cast<void>(machine()->pendingEvents());
    }

    void onEntry() override
    {
        CState::onEntry();
        actor.act();
    }
    void onExit() override
    {
        actor.act();
        CState::onExit();
    }
    void onProcessing() override
    {
        CState::onProcessing();
        actor.act();
    }

protected:
    CActor& actor;
};

/// Is entered by an event only, so on the worker thread: its hook may stop the machine.
class CBusyState : public CStormState
{
public:
    using CStormState::CStormState;
    void onEntry() override
    {
        CStormState::onEntry();
        CDice& dice = actor.ownDice();
        if (dice.onceIn(16))
            machine()->stop();
        else if (dice.onceIn(2))
            machine()->postEvent(dice.oneOf({EventBack, EventTurn}));
    }
};

/// Its constructor fails when the base is part of the tree already.
class CStillbornState : public CStormState
{
public:
    CStillbornState(Kiv::CState* parent, CActor& doing) : CStormState("Stillborn", parent, doing) { throw 1; }
};

class CStormMachine : public IThing
{
public:
    CStormMachine(Scene& scene, std::uint64_t seed, bool isNested)
        : actor(scene, seed, isNested), dice(seed + 1), machine(Kiv::CStateMachine::ProcessingAsync)
    {
        auto* idle = new CStormState("Idle", &machine, actor);
        auto* busy = new CBusyState("Busy", &machine, actor);
        auto* left = new CStormState("Left", busy, actor);
        auto* right = new CStormState("Right", busy, actor);
        machine.setInitialState(idle);
        busy->setInitialState(left);
        if (dice.onceIn(2))
            busy->addHistoryState()->setDefaultState(right);
        else if (dice.onceIn(2))
            busy->setChildMode(Kiv::CState::ChildModeParallel);
        idle->addEventTransitionTo(busy, EventGo);
        busy->addEventTransitionTo(idle, EventBack);
        left->addEventTransitionTo(right, EventTurn);
        right->addEventTransitionTo(left, EventTurn);
        if (scene.plan.lastWords)
            addStillborn();
        machine.setLogMessageCallback([](const std::string&) {});
    }

    void start() override
    {
        machine.start();
        machine.postEvent(EventGo);
    }
    void stop() override { machine.stop(); }
    void poke() override
    {
        for (unsigned left = 1 + dice.below(12); left > 0; --left)
            machine.postEvent(dice.oneOf({EventGo, EventBack, EventTurn}));
    }

private:
    void addStillborn()
    {
        try
        {
            new CStillbornState(&machine, actor);
        }
        catch (int)
        {}
    }

    CActor actor; // outlives the machine, which waits for its hooks
    CDice dice;
    Kiv::CStateMachine machine;
};

// ---- timers

/// Never destroyed: a terminated handler may come back to it.
struct StormHandler : Kiv::IAlarmHandler
{
    StormHandler(Scene& scene, std::uint64_t seed, bool isNested, bool talksToTimer)
        : actor(scene, seed, isNested), talks(talksToTimer)
    {}

    struct CPresence
    {
        explicit CPresence(std::atomic<unsigned>& counter) : count(counter) { ++count; }
        ~CPresence() { --count; }
        CPresence(const CPresence&) = delete;
        CPresence& operator=(const CPresence&) = delete;
        std::atomic<unsigned>& count;
    };

    bool onAlarm(Kiv::CAlarmTimer* timer) override
    {
        const CPresence presence(present);
        if (talks)
            talk(*timer);
        if (kept && actor.ownDice().onceIn(2))
        {
            kept->start();
            kept->stop();
        }
        actor.act();
        return !actor.ownDice().onceIn(50);
    }

    void talk(Kiv::CAlarmTimer& timer)
    {
        CDice& dice = actor.ownDice();
        switch (dice.below(16))
        {
        case 0:
            timer.stop();
            break;
        case 1:
            timer.start();
            break;
        case 2:
            timer.setName("talking");
            break;
        case 3:
            timer.setCycleCount(dice.below(4));
            break;
        default:
            timer.setInterval(1 + dice.below(4));
        }
    }

    /// Whoever destroys what handlers use waits for them, also for those that a stop has given up.
    void waitUntilAbsent() const
    {
        while (present != 0)
            sleepFor(1);
    }

    CActor actor;
    const bool talks;
    std::atomic<unsigned> present{0};
    std::unique_ptr<CStormMachine> kept;
};

class CStormTimer : public IThing
{
public:
    CStormTimer(Scene& scene, std::uint64_t seed, bool isNested, bool mayTalk)
        : dice(seed), isLogFull(scene.plan.logging >= LoggingFullFifo),
          handler(*new StormHandler(scene, seed + 1, isNested, mayTalk && dice.onceIn(2))),
          timer(
              std::make_unique<Kiv::CAlarmTimer>(1 + dice.below(4), dice.onceIn(4) ? 1 + dice.below(20) : 0, &handler))
    {
        if (handler.talks && scene.plan.nested)
            handler.kept = std::make_unique<CStormMachine>(scene, dice.next(), true);
    }

    ~CStormTimer() override
    {
        if (!handler.talks)
            return;
        const auto begin = std::chrono::steady_clock::now();
        timer->stop();
        const bool isGivenUp = std::chrono::steady_clock::now() - begin > std::chrono::milliseconds(90);
        if (isGivenUp && handler.present == 0) // it may just be on its way in
        {
            static_cast<void>(timer.release());
            return;
        }
        handler.waitUntilAbsent();
        handler.kept.reset();
    }

    void start() override { timer->start(); }
    void stop() override { timer->stop(); }
    void poke() override
    {
        if (!isLogFull && dice.onceIn(2)) // a new name is logged at once
            timer->setName("poked " + std::to_string(dice.below(100)));
        else
            timer->setInterval(1 + dice.below(5));
    }

private:
    CDice dice;
    const bool isLogFull;
    StormHandler& handler;
    std::unique_ptr<Kiv::CAlarmTimer> timer;
};

// ---- threads

class CStormThread : public IThing
{
public:
    CStormThread(Scene& scene, std::uint64_t seed, bool isNested)
        : dice(seed), actor(*new CActor(scene, seed + 1, isNested)),
          thread(*new (::operator new(sizeof(CBody))) CBody(actor, scene.plan.slow && dice.onceIn(2)))
    {}

    // A body that has just begun may still come to its object: what is left of it is not freed.
    ~CStormThread() override { thread.~CBody(); }

    void start() override { thread.start(); }
    void stop() override { thread.requestStop(); }
    void poke() override { thread.waitForCompletion(dice.below(10)); }

private:
    class CBody : public Kiv::CThread
    {
    public:
        CBody(CActor& doing, bool listensToNobody) : CThread("storm"), actor(doing), isStubborn(listensToNobody) {}
        ~CBody() override
        {
            requestStop();
            waitForCompletion(20);
        }
        void run() override
        {
            CActor& doing = actor;
            for (unsigned rest = isStubborn ? 400 : 0; isActive() || rest > 0; rest -= rest > 0 ? 1 : 0)
            {
                doing.act();
                sleepFor(1);
            }
        }

    private:
        CActor& actor;
        const bool isStubborn;
    };

    CDice dice;
    CActor& actor; // never destroyed
    CBody& thread;
};

void CActor::nest()
{
    const std::uint64_t seed = dice.next();
    std::unique_ptr<IThing> inner;
    switch (dice.below(3))
    {
    case 0:
        inner = std::make_unique<CStormMachine>(scene, seed, true);
        break;
    case 1:
        inner = std::make_unique<CStormTimer>(scene, seed, true, false);
        break;
    default:
        inner = std::make_unique<CStormThread>(scene, seed, true);
    }
    inner->start();
    inner->poke();
    sleepFor(dice.below(4));
    if (dice.onceIn(2))
        inner->stop();
}

// ---- what ends the process

class CEndingMachine : public IThing
{
public:
    explicit CEndingMachine(Scene& scene) : machine(Kiv::CStateMachine::ProcessingAsync)
    {
        auto* before = new Kiv::CState("Before", &machine);
        machine.setInitialState(before);
        before->addEventTransitionTo(new CLast(&machine, scene), EventGo);
    }
    void start() override
    {
        machine.start();
        machine.postEvent(EventGo);
    }
    void stop() override { machine.stop(); }
    void poke() override {}

private:
    struct CLast : Kiv::CState
    {
        CLast(Kiv::CState* parent, Scene& inScene) : CState("Last", parent), scene(inScene) {}
        void onEntry() override { scene.end(); }
        Scene& scene;
    };

    Kiv::CStateMachine machine;
};

class CEndingTimer : public IThing
{
public:
    explicit CEndingTimer(Scene& scene) : timer(1)
    {
        timer.setAlarmCallback([&scene] {
            scene.end();
            return true;
        });
    }
    void start() override { timer.start(); }
    void stop() override { timer.stop(); }
    void poke() override {}

private:
    Kiv::CAlarmTimer timer;
};

class CEndingThread : public IThing, private Kiv::CThread
{
public:
    explicit CEndingThread(Scene& inScene) : CThread("last"), scene(inScene) {}
    ~CEndingThread() override { stop(); }
    void start() override { CThread::start(); }
    void stop() override
    {
        requestStop();
        waitForCompletion(20);
    }
    void poke() override {}

private:
    void run() override { scene.end(); }
    Scene& scene;
};

} // namespace

std::unique_ptr<IThing> makeThing(Scene& scene, CDice& dice, bool mayTalk)
{
    const std::uint64_t seed = dice.next();
    switch (dice.below(3))
    {
    case 0:
        return std::make_unique<CStormMachine>(scene, seed, false);
    case 1:
        return std::make_unique<CStormTimer>(scene, seed, false, mayTalk);
    default:
        return std::make_unique<CStormThread>(scene, seed, false);
    }
}

std::unique_ptr<IThing> makeEnder(Scene& scene)
{
    switch (scene.plan.place)
    {
    case PlaceHook:
        return std::make_unique<CEndingMachine>(scene);
    case PlaceHandler:
        return std::make_unique<CEndingTimer>(scene);
    default:
        return std::make_unique<CEndingThread>(scene);
    }
}

} // namespace Storm
