/// Holds a forced termination of the calling thread off.
#ifndef KIV_TERMINATIONBLOCKER_H
#define KIV_TERMINATIONBLOCKER_H

#include <pthread.h>

namespace Kiv
{

/// Keeps a forced termination pending while it lives: a thread that is cancelled inside somebody else's code, such as
/// a wait of Qt's or an appender, leaves locks taken there, or streams that never write again.
class CTerminationBlocker
{
public:
    CTerminationBlocker() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &previous); }
    ~CTerminationBlocker() { pthread_setcancelstate(previous, nullptr); }
    CTerminationBlocker(const CTerminationBlocker&) = delete;
    CTerminationBlocker& operator=(const CTerminationBlocker&) = delete;

private:
    int previous = PTHREAD_CANCEL_ENABLE;
};

} // namespace Kiv

#endif
