/// Work that may never end, for a caller that has to go on.
#ifndef KIV_ERRAND_H
#define KIV_ERRAND_H

#include <functional>
#include <memory>
#include <thread>

namespace Kiv
{
namespace Diag
{

/// Does some work on a thread of its own. Who gives up waiting leaves the thread behind; what the work uses must
/// outlive everything then.
///
/// No forced termination of the caller takes effect inside.
class CErrand
{
public:
    static constexpr unsigned sliceMsecs = 10;

    /// Begins. Throws what std::thread throws, std::system_error or std::bad_alloc. What the work throws is lost.
    explicit CErrand(std::function<void()> work);

    /// Leaves the work alone if it has not ended.
    ~CErrand();
    CErrand(const CErrand&) = delete;
    CErrand& operator=(const CErrand&) = delete;

    /// Waits for the end for so many times 10 ms; in slices, so that a process that was stopped meanwhile does not
    /// find all of the time gone. True if the work has ended.
    bool wait(int slices) noexcept;

    /// True while some work that was left alone has not ended.
    static bool anyLeftAlone();

    /// True from the first time that this happened.
    static bool anyEverLeftAlone();

private:
    struct Task;

    static void run(Task& task);

    std::shared_ptr<Task> task;
    std::thread thread;
};

} // namespace Diag
} // namespace Kiv

#endif
