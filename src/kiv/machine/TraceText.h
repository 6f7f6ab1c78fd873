/// The texts of a trace; private.
#ifndef KIV_TRACETEXT_H
#define KIV_TRACETEXT_H

#include <string>
#include <unordered_map>
#include <vector>

#include "kiv/machine/TraceRing.h"

namespace Kiv
{

/// What a trace remembers of a state or a transition.
struct TraceSubject
{
    std::string name;
    std::string path;     ///< of the state, or of the transition's source
    std::string target{}; ///< path of the transition's target; empty for states
    int track = 0;        ///< of a state: the region of a parallel group that it stands in; 0 outside of all
};

/// Of the events that have one.
using TraceEventNames = std::vector<std::string>;

using TraceSubjects = std::unordered_map<const void*, TraceSubject>;

/// A state's path, or "NAME: SOURCE -> TARGET".
std::string describe(const TraceSubject& subject);

std::string traceText(const std::vector<RawTraceRecord>& records, const TraceSubjects& subjects,
                      const TraceEventNames& names);

std::string traceChromeJson(const std::vector<RawTraceRecord>& records, const TraceSubjects& subjects,
                            const TraceEventNames& names, std::uint64_t lostRecords);

} // namespace Kiv

#endif
