/// How pictures, traces and findings call events and what fires a transition; private.
#ifndef KIV_TRANSITIONTEXT_H
#define KIV_TRANSITIONTEXT_H

#include <chrono>
#include <string>

namespace Kiv
{

class CStateMachine;
class CTransition;

/// The event's name, or its number if it has none.
std::string eventText(const CStateMachine& machine, unsigned char eventNo);

/// "30 s", "250 ms": in the largest unit that needs no fraction.
std::string durationText(std::chrono::nanoseconds span);

/// The events, "after 30 s" and "finished", joined by commas; empty for a transition that only trigger() fires.
std::string causesText(const CStateMachine& machine, const CTransition& transition);

/// The text and the guard behind it, "open [tank full]"; the text alone without a guard.
std::string withGuard(const std::string& text, const CTransition& transition);

} // namespace Kiv

#endif
