/// A window into a running process: what its machines, timers and values are, for people who look from outside.
#ifndef KIV_INSPECTION_H
#define KIV_INSPECTION_H

#include <functional>
#include <memory>
#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CAlarmTimer;
class CInspectionPrivate;
class CStateMachine;

/// Opens a socket beside the process through which `kiv look` and other programs of the same user see what was shown.
///
///     Kiv::CInspection inspection("greenhouse");
///     inspection.show(machine, "climate");
///     inspection.show(timer);
///     inspection.show("level", [&] { return std::to_string(level.load()); });
///
/// Nothing can be changed through it unless allow() names it. While nobody looks, its thread sleeps and nothing is
/// connected to what was shown: machines and timers run as without it. While somebody watches a machine, that machine's
/// signals have one more receiver, which puts a record into a ring and waits for nobody.
///
/// The socket is FOLDER/kiv-NAME.sock, a stream socket (unix(7)) with the rights of its owner: FOLDER is the one given,
/// else the service's (RUNTIME_DIRECTORY, systemd.exec(5), the first of several), else XDG_RUNTIME_DIR. What a killed
/// process left there is replaced, that of a living one is not. docs/inspection.md describes what is said over it.
///
/// Limits: 8 connections at a time, later ones are told so and closed; requests of 255 bytes; a reader that takes
/// nothing for 5 s, or has 1 MiB waiting, loses changes, which are counted, and is closed in the end.
///
/// What is shown outlives this object: declare it last, so that it goes first. States and transitions are not added to
/// a machine while somebody watches it.
///
/// Threads: everything from any thread. One thread of ordinary priority, "inspection", serves all connections; the
/// functions that were given to show() are called there, only when somebody looks, and must not wait.
/// Errors: a process that cannot open the socket runs on without one; result() and the log (logger of diag.h) say why.
class KIV_API CInspection
{
public:
    /// Opens the socket. `name`: letters, digits, '-', '_' and '.', 1 to 60 of them. Members of `group` may look too,
    /// if it is not empty.
    explicit CInspection(const std::string& name, const std::string& folder = "", const std::string& group = "");

    /// Removes the socket and closes all connections; waits for a function of show() at most 100 ms.
    ~CInspection();
    CInspection(const CInspection&) = delete;
    CInspection& operator=(const CInspection&) = delete;

    /// 0 while the socket is open, or the negated code of what failed: -22 for a name that is none, -2 where there is
    /// no folder or no such group, -98 while another living process has the name, -36 for a path over 107 bytes.
    int result() const;

    /// The socket's path; empty if it is not open.
    std::string path() const;

    /// Shows a machine that is built: its states, transitions, queue and what validate() finds. Without a name it is
    /// "machine", "machine 2" and so on.
    void show(CStateMachine& machine, const std::string& name = "");

    /// Shows a timer under its own name.
    void show(const CAlarmTimer& timer);

    /// Shows a value as the text that `read` returns, with its unit if it has one.
    void show(const std::string& name, std::function<std::string()> read);

    /// Lets whoever may look post this event to the machine, which was shown before; each is logged at INFO with the
    /// user and process that asked. The event goes through the queue.
    void allow(CStateMachine& machine, unsigned char eventNo);

private:
    std::shared_ptr<CInspectionPrivate> d;
};

} // namespace Kiv

#endif
