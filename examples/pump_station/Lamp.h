/// A lamp that flashes while a state is active.
#ifndef KIV_PUMPSTATION_LAMP_H
#define KIV_PUMPSTATION_LAMP_H

#include <string>

#include <kiv/State.h>
#include <kiv/sigslot.h>

#include "Wiring.h"

namespace PumpStation
{

class CStationLog;

/// Flashes in the do-activity of the states that it belongs to: it changes over with each processing pass of the
/// machine. Such a pass comes in real time, when no event has come for a while; so nothing else may depend on the lamp.
///
/// Threads: belongs to the thread that processes the machine.
class CLamp : public sigslot::has_slots<>
{
public:
    /// `name` stands in the log.
    CLamp(eLamp lamp, const std::string& name, IWiring& wiring, const CStationLog& log);

    void flashDuring(Kiv::CAbstractState* state);

private:
    void onProcessing(Kiv::CAbstractState*);
    void onExited(Kiv::CAbstractState*);

    void light(bool on);

    eLamp lamp;
    std::string name;
    IWiring& wiring;
    const CStationLog& log;
    bool lit = false;
    int flashes = 0;
};

} // namespace PumpStation

#endif
