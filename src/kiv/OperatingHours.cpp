// Who calls, and the keeper's thread, meet in the private part, which the keeper shares: it may outlive the counter,
// when the medium does not answer. `saving` is held during a save and guards the file; `counting` guards the rest, and
// is held for moments only. `saving` is taken first.
#include <kiv/OperatingHours.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <utility>

#include <kiv/Deadline.h>
#include <kiv/Thread.h>
#include <kiv/TimedCondition.h>

#include "kiv/errors/ResultCodes.h"
#include "kiv/files/HoursFile.h"

namespace Kiv
{

using std::chrono::milliseconds;
using std::chrono::nanoseconds;

namespace
{

constexpr std::chrono::seconds endLimit{2};
constexpr std::chrono::seconds leastInterval{1};

bool isText(const std::array<unsigned char, 4>& bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](unsigned char byte) {
        return (byte >= ' ' && byte < 0x7F) || (byte >= '\t' && byte <= '\r');
    });
}

} // namespace

class COperatingHoursPrivate
{
public:
    COperatingHoursPrivate(const std::string& path, unsigned number, std::chrono::seconds saveInterval)
        : interval(std::max(saveInterval, leastInterval)), file(path, number)
    {}

    int open();
    int takeOver(const std::string& meterFile, long offset);
    void begin();
    void end();
    void add(milliseconds span, std::uint64_t starts);
    int save();
    int reset();
    OperatingHours reading();
    bool isRunning();
    int lastSave();

    /// The keeper's work, until finish().
    void keep();
    void finish();

private:
    void saveInTime();
    OperatingHours current() const;

    const std::chrono::seconds interval;

    std::mutex saving;
    CHoursFile file;
    bool isOpen = false;
    bool isNew = false;

    std::mutex counting;
    nanoseconds counted{0}; // without the run in progress
    std::uint64_t starts = 0;
    bool runs = false;
    nanoseconds runBegin{0};
    CDeadline due; // the next save; never if there is nothing to be saved
    bool isEnding = false;
    int lastResult = 0;
    CTimedCondition changed; // of `due` and `isEnding`
};

/// Saves by itself, so that nobody else waits for the medium.
class CHoursKeeper : public CThread
{
public:
    explicit CHoursKeeper(std::shared_ptr<COperatingHoursPrivate> shared)
        : CThread("hours keeper"), hours(std::move(shared))
    {}
    ~CHoursKeeper() override
    {
        hours->finish();
        waitForCompletion(CDeadline::in(endLimit));
    }

private:
    void run() override
    {
        const std::shared_ptr<COperatingHoursPrivate> kept = hours; // longer than this object, if need be
        kept->keep();
    }

    const std::shared_ptr<COperatingHoursPrivate> hours;
};

int COperatingHoursPrivate::open()
{
    const std::lock_guard<std::mutex> savingLock(saving);
    if (isOpen)
        return 0;
    OperatingHours found;
    int error = file.open(true);
    if (error == 0)
        error = file.read(found);
    if (error != 0)
        return error;
    isOpen = true;
    isNew = file.isNew();
    const std::lock_guard<std::mutex> lock(counting);
    counted += found.total;
    starts += found.starts;
    return 0;
}

int COperatingHoursPrivate::takeOver(const std::string& meterFile, long offset)
{
    {
        const std::lock_guard<std::mutex> savingLock(saving);
        if (!isOpen)
            return badDescriptor;
        std::uint32_t seconds = 0;
        const int error = isNew ? COperatingHours::readMeter(meterFile, offset, seconds) : noSuchEntity;
        if (error != 0)
            return error == noSuchEntity ? 0 : error;
        isNew = false;
        const std::lock_guard<std::mutex> lock(counting);
        counted += std::chrono::seconds(seconds);
    }
    return save();
}

void COperatingHoursPrivate::begin()
{
    const std::lock_guard<std::mutex> lock(counting);
    if (runs)
        return;
    runs = true;
    runBegin = CDeadline::now(ClockBoottime);
    ++starts;
    saveInTime();
}

void COperatingHoursPrivate::end()
{
    const std::lock_guard<std::mutex> lock(counting);
    if (!runs)
        return;
    runs = false;
    counted += CDeadline::now(ClockBoottime) - runBegin;
    due = CDeadline::at(nanoseconds::zero());
    changed.wakeAll();
}

void COperatingHoursPrivate::add(milliseconds span, std::uint64_t moreStarts)
{
    const std::lock_guard<std::mutex> lock(counting);
    counted += std::max(span, milliseconds::zero());
    starts += moreStarts;
    saveInTime();
}

/// Under `counting`, like the next.
void COperatingHoursPrivate::saveInTime()
{
    if (!due.isNever())
        return;
    due = CDeadline::in(interval);
    changed.wakeAll();
}

OperatingHours COperatingHoursPrivate::current() const
{
    const nanoseconds total = runs ? counted + (CDeadline::now(ClockBoottime) - runBegin) : counted;
    return {std::chrono::duration_cast<milliseconds>(total), starts};
}

OperatingHours COperatingHoursPrivate::reading()
{
    const std::lock_guard<std::mutex> lock(counting);
    return current();
}

bool COperatingHoursPrivate::isRunning()
{
    const std::lock_guard<std::mutex> lock(counting);
    return runs;
}

int COperatingHoursPrivate::lastSave()
{
    const std::lock_guard<std::mutex> lock(counting);
    return lastResult;
}

int COperatingHoursPrivate::save()
{
    const std::lock_guard<std::mutex> savingLock(saving);
    if (!isOpen)
        return badDescriptor;
    OperatingHours hours;
    {
        const std::lock_guard<std::mutex> lock(counting);
        hours = current();
        due = runs ? CDeadline::in(interval) : CDeadline::never();
    }
    const int result = file.write(hours);
    const std::lock_guard<std::mutex> lock(counting);
    lastResult = result;
    if (result != 0)
        saveInTime();
    return result;
}

int COperatingHoursPrivate::reset()
{
    {
        const std::lock_guard<std::mutex> lock(counting);
        counted = nanoseconds::zero();
        starts = 0;
        runBegin = CDeadline::now(ClockBoottime);
    }
    return save();
}

void COperatingHoursPrivate::keep()
{
    std::unique_lock<std::mutex> lock(counting);
    while (!isEnding || !due.isNever())
    {
        const bool isLast = isEnding;
        if (!isLast && !due.isExpired())
        {
            const CDeadline limit = due;
            changed.wait(lock, limit);
            continue;
        }
        lock.unlock();
        save();
        lock.lock();
        if (isLast)
            return;
    }
}

void COperatingHoursPrivate::finish()
{
    const std::lock_guard<std::mutex> lock(counting);
    isEnding = true;
    changed.wakeAll();
}

COperatingHours::COperatingHours(const std::string& path, unsigned number, std::chrono::seconds saveInterval)
    : d(std::make_shared<COperatingHoursPrivate>(path, number, saveInterval))
{}

COperatingHours::~COperatingHours()
{
    stop();
    if (keeper && !keeper->isActive()) // the system has refused the thread
        d->save();
}

int COperatingHours::open()
{
    const int error = d->open();
    if (error != 0 || keeper)
        return error;
    keeper = std::make_unique<CHoursKeeper>(d);
    keeper->start();
    return 0;
}

int COperatingHours::takeOver(const std::string& meterFile, long offset) { return d->takeOver(meterFile, offset); }

void COperatingHours::start() { d->begin(); }

void COperatingHours::stop() { d->end(); }

bool COperatingHours::isRunning() const { return d->isRunning(); }

void COperatingHours::add(milliseconds span, std::uint64_t starts) { d->add(span, starts); }

OperatingHours COperatingHours::reading() const { return d->reading(); }

int COperatingHours::save() { return d->save(); }

int COperatingHours::reset() { return d->reset(); }

int COperatingHours::lastSave() const { return d->lastSave(); }

int COperatingHours::read(const std::string& path, unsigned number, OperatingHours& found)
{
    CHoursFile file(path, number);
    int error = file.open(false);
    if (error == 0)
        error = file.read(found);
    return error == 0 && file.isNew() ? noDataAvailable : error;
}

int COperatingHours::readMeter(const std::string& path, long offset, std::uint32_t& seconds)
{
    const CDescriptor file = CDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (!file.isOpen())
        return negatedErrno();
    std::array<unsigned char, sizeof seconds> bytes{};
    const ssize_t size = uninterrupted([&] { return pread(file.get(), bytes.data(), bytes.size(), offset); });
    if (size < 0)
        return negatedErrno();
    if (size != static_cast<ssize_t>(bytes.size()) || isText(bytes))
        return badMessage;
    std::memcpy(&seconds, bytes.data(), bytes.size());
    return 0;
}

} // namespace Kiv
