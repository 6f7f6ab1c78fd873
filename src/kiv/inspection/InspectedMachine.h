/// A machine as an inspection shows it; private.
#ifndef KIV_INSPECTEDMACHINE_H
#define KIV_INSPECTEDMACHINE_H

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <kiv/State.h>
#include <kiv/StateMachine.h>
#include <kiv/StateMachineTrace.h>

namespace Kiv
{

/// Walks the tree once; afterwards it reads of the machine only what may be read from any thread.
///
/// Threads: construction before the machine is started or while nobody adds to it, everything else on one thread.
class CInspectedMachine
{
public:
    CInspectedMachine(CStateMachine& machine, const std::string& name);

    const std::string& name() const { return shownName; }
    CStateMachine& machine() const { return subject; }

    /// All of it, as JSON.
    std::string state() const;

    /// Listens to the machine, or no longer.
    void setWatched(bool watched);

    /// What happened since the last call, as JSON; empty if nothing did.
    std::string changes();

    /// Lets an event be posted; both from any thread.
    void allow(unsigned char eventNo) { allowed[eventNo] = true; }
    bool allows(unsigned char eventNo) const { return allowed[eventNo]; }

private:
    void addGroup(const CState* group);
    std::string structureText() const;
    std::string stateText(const CAbstractState* state) const;
    std::string transitionText(const CTransition* transition, std::size_t source) const;
    std::string active() const;
    std::string figures() const;

    CStateMachine& subject;
    const std::string shownName;
    std::vector<const CAbstractState*> states;
    std::unordered_map<const CAbstractState*, int> indices;
    std::string structure; // of states, transitions and findings, as JSON members
    std::unique_ptr<CStateMachineTrace> trace;
    std::uint64_t tracePosition = 0;
    std::string lastFigures;
    std::array<std::atomic<bool>, 256> allowed{};
};

} // namespace Kiv

#endif
