/// What few transitions have; private.
#ifndef KIV_TRANSITIONDETAILS_H
#define KIV_TRANSITIONDETAILS_H

#include <chrono>
#include <optional>
#include <string>

#include <kiv/Callback.h>
#include <kiv/Transition.h>

namespace Kiv
{

struct CTransition::Details
{
    std::string guardName;
    cb::Callback0<bool> guard;
    cb::Callback0<void> action;
    bool isInternal = false;
    std::optional<std::chrono::nanoseconds> timeout;
    std::chrono::nanoseconds due{}; ///< while the source is active and the time-out is not spent
};

} // namespace Kiv

#endif
