/// Operating hours that are right: what ran, however short, however often, and whatever happens to clocks and supply.
#ifndef KIV_OPERATINGHOURS_H
#define KIV_OPERATINGHOURS_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CHoursKeeper;
class COperatingHoursPrivate;

/// What a counter shows.
struct OperatingHours
{
    std::chrono::milliseconds total{0}; ///< how long it has run
    std::uint64_t starts = 0;           ///< how often it began to run
};

/// Counts how long something has run and how often it was started, and keeps both in a file.
///
///     COperatingHours hours("/var/lib/controller/pump.hours");
///     if (const int error = hours.open(); error != 0)
///         complain(error);
///     hours.start(); // with the pump
///     hours.stop();
///
/// - Clock: CLOCK_BOOTTIME, which nobody sets and which runs on through suspend. Runs of any length add up; nothing of
/// a
///   second is dropped.
/// - Saving: every `saveInterval` while it runs, and after each stop(), by a thread of the counter's own. So start(),
///   stop() and reading() never wait for the medium, and what a lost supply or a killed process can cost is the time
///   since the last save, which is the interval at most as long as the medium takes the data. A suspend is saved after
///   it, and lost if the supply goes meanwhile.
/// - The file: two records of 40 bytes, 4,096 bytes apart, with a sequence number and a checksum, written in turn and
///   flushed. Whatever happens during a save, the record before it is whole. Several counters share a file by their
///   numbers; each takes 8,192 bytes of it.
///
/// | state                | reading and counting | saving                                                         |
/// |----------------------|----------------------|----------------------------------------------------------------|
/// | not opened           | from 0, in memory    | none; open() adds the file's hours to what has been counted    |
/// | open                 | goes on from there   | as above; after a failure again when the interval is over      |
/// | open() failed        | from 0, in memory    | none: a foreign file is left as it is                          |
///
/// One process counts at a time with one number of a file; others may look with read().
///
/// Threads: safe. Construction, open() and destruction belong to one thread.
/// Errors: 0 or a negated code. Those of the system; -16458 ("Bad message") if what stands in the file is not a
/// counter's record, or both records are damaged; -9 ("Bad file handle") for what needs a file before open(). Units:
/// milliseconds, 64 bits.
class KIV_API COperatingHours
{
public:
    /// Touches no file. `saveInterval` is 1 s at least.
    explicit COperatingHours(const std::string& path, unsigned number = 0,
                             std::chrono::seconds saveInterval = std::chrono::seconds(60));
    COperatingHours(const COperatingHours&) = delete;
    COperatingHours& operator=(const COperatingHours&) = delete;

    /// Stops, and saves; gives up after two seconds if the medium does not answer.
    ~COperatingHours();

    /// Takes what the file has and adds what has been counted since the construction. A file that is not there is made,
    /// with the mode that new files have; what is empty or all zeros is a new counter.
    int open();

    /// Goes on from the record of a CHourMeter: adds its seconds if this counter is new, so that it can be called at
    /// each start of the program. Nothing happens if there is no such file. After open().
    int takeOver(const std::string& meterFile, long offset = 0);

    /// Begins to count, and counts a start; nothing while it runs.
    void start();

    /// Ends that, and has it saved; nothing while it does not run.
    void stop();

    /// True between start() and stop().
    bool isRunning() const;

    /// Adds what somebody else has measured, such as the drive itself. Negative spans add nothing.
    void add(std::chrono::milliseconds span, std::uint64_t starts = 0);

    /// What has been counted up to now.
    OperatingHours reading() const;

    /// Writes now and waits until the medium has it.
    int save();

    /// Sets both to 0, and saves that; a run that is in progress counts from here, without a start.
    int reset();

    /// How the last save ended; 0 before the first.
    int lastSave() const;

    /// What a file holds, without counting, and without making or changing one. -519 ("No data available") if nothing
    /// has been saved there yet.
    static int read(const std::string& path, unsigned number, OperatingHours& found);

    /// What a CHourMeter has left: four bytes, which have nothing to tell them by. -16458 if they are text, as which no
    /// meter's seconds can be read for the first 17 years, or if the file ends before them.
    static int readMeter(const std::string& path, long offset, std::uint32_t& seconds);

private:
    std::shared_ptr<COperatingHoursPrivate> d;
    std::unique_ptr<CHoursKeeper> keeper;
};

} // namespace Kiv

#endif
