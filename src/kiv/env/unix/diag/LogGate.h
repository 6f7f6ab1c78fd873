/// The gate through which every record of the library goes to log4cplus, and which closes before log4cplus is gone.
///
/// Threads of the library go on while the process exits, and log4cplus is taken down at the end of that. The gate is
/// closed just before: records that come later are dropped, those in progress are waited for. See LogGate.cpp.
#ifndef KIV_LOGGATE_H
#define KIV_LOGGATE_H

#include <atomic>

#include "kiv/env/unix/diag/ProcessExit.h"
#include "kiv/env/unix/helper/TerminationBlocker.h"

namespace Kiv
{
namespace Diag
{

struct LogGate
{
    static constexpr unsigned closed = 1U << 31;

    inline static std::atomic<unsigned> state{0}; // who is inside, and `closed`
    inline static thread_local unsigned passesHere = 0;
};

/// While it lives, and if it is true, log4cplus is there. It may be taken inside another one. No forced termination
/// of the thread takes effect meanwhile.
class CLogPass
{
public:
    CLogPass() : open((LogGate::state.fetch_add(1) & LogGate::closed) == 0)
    {
        ++LogGate::passesHere;
        CProcessExit::learn();
    }
    ~CLogPass()
    {
        --LogGate::passesHere;
        --LogGate::state;
    }
    CLogPass(const CLogPass&) = delete;
    CLogPass& operator=(const CLogPass&) = delete;

    explicit operator bool() const { return open; }

private:
    const CTerminationBlocker blocker;
    const bool open;
};

} // namespace Diag
} // namespace Kiv

#endif
