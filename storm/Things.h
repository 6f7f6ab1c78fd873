/// Machines, timers and threads of the library with hooks, handlers and bodies that do something unforeseen.
#ifndef KIV_TESTS_STORM_THINGS_H
#define KIV_TESTS_STORM_THINGS_H

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

#include "Dice.h"
#include "Plan.h"

namespace Storm
{

/// What the process knows about itself; never destroyed, since terminated handlers and bodies may come back to it.
struct Scene
{
    Plan plan;

    /// Ends the process in the way of the plan.
    std::function<void()> end;
};

/// Something of the library that can be started and stopped again and again.
class IThing
{
public:
    virtual ~IThing() = default;
    virtual void start() = 0;
    virtual void stop() = 0;

    /// Posts, renames, restarts: whatever else it has.
    virtual void poke() = 0;
};

/// A machine, a timer or a thread. With `mayTalk` handlers use their own timer, and destruction waits for them.
std::unique_ptr<IThing> makeThing(Scene& scene, CDice& dice, bool mayTalk);

/// A thing that calls scene.end() once it was started.
std::unique_ptr<IThing> makeEnder(Scene& scene);

} // namespace Storm

#endif
