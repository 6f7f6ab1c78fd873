/// What a service tells the service manager that started it: that it is ready, that it stops, that it is alive.
#ifndef KIV_SERVICENOTIFY_H
#define KIV_SERVICENOTIFY_H

#include <chrono>
#include <memory>
#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CServiceNotifyPrivate;

/// Sends messages to the socket that the manager names in the environment: sd_notify(3), under "Notes", which describes
/// the protocol as stable. For services with Type=notify or WatchdogSec=; nothing of systemd is linked.
///
/// A program that nobody supervises uses it all the same: without NOTIFY_SOCKET everything succeeds and sends nothing.
///
/// Make one object at the start of the program, before other threads change the environment, which is read once. Its
/// socket stays open, so that an alive program that has run out of descriptors can still say so. Only the main process
/// of a service is listened to, unless its unit says NotifyAccess=all.
///
/// Feed the watchdog from where the work is done, or after having asked there, never from a thread that does nothing
/// else: examples/pump_station/Service.cpp feeds it when the state machine has answered.
///
/// Threads: safe from any thread once it is constructed.
/// Errors: negated error codes. A message that the manager does not take within 100 ms is given up: -11.
class KIV_API CServiceNotify
{
public:
    /// Reads NOTIFY_SOCKET (an absolute path, or an abstract name behind '@'), WATCHDOG_USEC and WATCHDOG_PID.
    CServiceNotify();
    ~CServiceNotify();
    CServiceNotify(const CServiceNotify&) = delete;
    CServiceNotify& operator=(const CServiceNotify&) = delete;

    /// There is a manager that wants to be told.
    bool isManaged() const;

    /// 0, or the code of what failed at construction; every message returns the same then: -97 for an address of
    /// another kind, -60 for one that is too long, or why there is no socket.
    int error() const;

    /// The manager ends the service when it has heard nothing for so long; feed in half of that. 0 if it does not
    /// watch, or watches another process.
    std::chrono::microseconds watchdogInterval() const;

    /// The service has started completely: READY=1. The manager then starts what waits for it.
    int notifyReady();

    /// The service is about to end: STOPPING=1.
    int notifyStopping();

    /// A line in UTF-8 for people, shown with the state of the service: STATUS=. Control characters become blanks.
    int notifyStatus(const std::string& text);

    /// The service is alive: WATCHDOG=1.
    int feedWatchdog();

    /// Sends assignments of the protocol as they are, one a line, such as "MAINPID=123\nREADY=1".
    int notify(const std::string& assignments);

private:
    const std::unique_ptr<CServiceNotifyPrivate> d;
};

} // namespace Kiv

#endif
