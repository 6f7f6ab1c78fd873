/// A meter of operating time that survives restarts.
#ifndef KIV_HOURMETER_H
#define KIV_HOURMETER_H

#include <cstdint>
#include <memory>

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CFileStorage;
class CHourMeterPrivate;

/// Counts the seconds during which it exists, whenever it is read, and keeps them in a storage. What is short it does
/// not count, and a clock that is set it believes: for new programs there is COperatingHours, which takes its record
/// over.
///
/// Calling order: construct, setMemory(), initialize(), then reading() as often as wanted. A new file is given its
/// length before, by CFileStorage::erase(): on one that is too short nothing is ever saved.
///
/// - A reading counts the whole seconds since the last reading that counted any. What is left of a second is dropped
///   then, so the meter may run slow by up to a second for each of them. The time between the last reading and the
///   destructor is not counted.
/// - Saving: with an interval of -1 (or any below 1) each reading that counts also writes the record. With an interval
///   of n seconds a reading writes it if n seconds or more have passed since the reading before: a meter that is read
///   more often never writes by itself. save() writes in any case.
/// - The record is four bytes, the seconds in the processor's byte order, at an offset of the caller's choice, which
///   should be a multiple of four. It reaches the file when the storage writes its buffer, see CFileStorage; save()
///   waits until it is there. A power cut before that leaves the four bytes of an earlier save or of this one; there is
///   no second copy, so a medium that damages a sector damages the record.
///
/// It follows the system's clock: time by which that is set forward is counted, and while it is behind a former reading
/// nothing is.
///
/// Threads: reentrant; all users of one storage belong to one thread at a time.
/// Errors: results are 0 or a negated code, -5 as 0xFFFFFFFB. A write that fails inside reading() or reset() is not
/// reported, and the meter goes on. Without storage it counts and saves nothing.
/// Units: seconds, 32 bits: they wrap after 136 years.
class KIV_API CHourMeter
{
public:
    /// `saveInterval` in seconds.
    explicit CHourMeter(int saveInterval);
    CHourMeter(const CHourMeter&) = delete;
    CHourMeter& operator=(const CHourMeter&) = delete;

    /// Saves nothing.
    virtual ~CHourMeter();

    /// Where the record lies; reads and writes nothing.
    void setMemory(std::shared_ptr<CFileStorage> storage, int offset);

    /// Takes the reading from the record. -5 when the storage is closed or missing. A file that ends before the record
    /// does leaves the reading as it was, in part at least, and silences the storage.
    ErrCode initialize();

    /// Counts, saves if it is time to, and returns the seconds.
    std::uint32_t reading();

    /// Sets the reading and the record to 0. Time that no reading has counted yet is counted by the next one.
    void reset();

    /// Counts, writes the record and waits until it is on the medium. The result of CFileStorage::flush(), -5 without
    /// storage.
    ErrCode save();

private:
    std::unique_ptr<CHourMeterPrivate> d;
};

} // namespace Kiv

#endif
