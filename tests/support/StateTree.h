/// What the tests of states, transitions and machines share: a recorder of everything that a machine lets one see.
#ifndef KIV_TESTS_STATETREE_H
#define KIV_TESTS_STATETREE_H

#include <string>
#include <vector>

#include <kiv/TinySimpleFSM.h>

/// Writes down, in order: log lines as they come, and signals as "entered A", "exited A", "processing A", "finished A",
/// "fired T", "done A" (the machine's notice that an entry is complete) and "started".
class CRecorder : public sigslot::has_slots<sigslot::multi_threaded_local>
{
public:
    using Lines = std::vector<std::string>;

    void recordLog(Kiv::CStateMachine& machine)
    {
        machine.setLogMessageCallback(cb::Callback1<void, const std::string&>(this, &CRecorder::onLog));
    }

    void record(Kiv::CAbstractState& state)
    {
        state.sigEntered.connect(this, &CRecorder::onEntered);
        state.sigExited.connect(this, &CRecorder::onExited);
        state.sigProcessing.connect(this, &CRecorder::onProcessing);
    }

    void recordFinished(Kiv::CState& state) { state.sigFinished.connect(this, &CRecorder::onFinished); }
    void record(Kiv::CTransition& transition) { transition.sigTriggered.connect(this, &CRecorder::onFired); }

    void record(Kiv::CStateMachine& machine)
    {
        machine.sigStateEntered.connect(this, &CRecorder::onDone);
        machine.sigStarted.connect(this, &CRecorder::onStarted);
    }

    /// What was written down since the last call.
    Lines take()
    {
        Lines taken;
        taken.swap(lines);
        return taken;
    }

private:
    void onLog(const std::string& line) { lines.push_back(line); }
    void onEntered(Kiv::CAbstractState* state) { lines.push_back("entered " + state->name()); }
    void onExited(Kiv::CAbstractState* state) { lines.push_back("exited " + state->name()); }
    void onProcessing(Kiv::CAbstractState* state) { lines.push_back("processing " + state->name()); }
    void onFinished(Kiv::CAbstractState* state) { lines.push_back("finished " + state->name()); }
    void onFired(Kiv::CTransition* transition) { lines.push_back("fired " + transition->name()); }
    void onDone(Kiv::CAbstractState* state) { lines.push_back("done " + state->name()); }
    void onStarted(Kiv::CStateMachine*) { lines.push_back("started"); }

    Lines lines;
};

#endif
