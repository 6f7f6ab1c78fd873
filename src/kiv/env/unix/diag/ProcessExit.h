/// exit() as the library sees it: whether it is under way, with which status, and the way out when something never
/// ends.
#ifndef KIV_PROCESSEXIT_H
#define KIV_PROCESSEXIT_H

#include <atomic>
#include <cstdlib>

namespace Kiv
{
namespace Diag
{

class CProcessExit
{
public:
    /// Learns of exit() while there is time: from the beginning of the program on, not while libraries are loaded,
    /// exit() tells before it takes the libraries down.
    static void learn() { [[maybe_unused]] static const int registered = on_exit(begin, nullptr); }

    /// Besides, exit() destroys the calling thread's own objects before any static one: so a thread that was marked
    /// knows in destructors of static objects that it is the one that exits, or ends itself.
    static void markThread()
    {
        thread_local const ThreadMark mark;
        static_cast<void>(&mark);
        learn();
    }

    /// True in destructors of static objects, as far as learn() or the thread's mark came before those objects.
    static bool isUnderWay() { return begun || isThreadEnding(); }

    /// True when the calling thread was marked and ends, or ends the process.
    static bool isThreadEnding() { return threadEnds; }

    /// Ends the process with the status that exit() was called with, EXIT_FAILURE if that is not known. What stdio has
    /// buffered is written if that takes no longer than half a second.
    [[noreturn]] static void cutShort();

    /// False if flushing all streams takes longer than half a second; it goes on then.
    static bool flushStreams();

    /// The same without the streams.
    [[noreturn]] static void endNow();

private:
    struct ThreadMark
    {
        ~ThreadMark() { threadEnds = true; }
    };

    static void begin(int status, void*)
    {
        exitStatus = status;
        begun = true;
    }

    inline static std::atomic<int> exitStatus{EXIT_FAILURE};
    inline static std::atomic<bool> begun{false};
    inline static thread_local bool threadEnds = false;
};

} // namespace Diag
} // namespace Kiv

#endif
