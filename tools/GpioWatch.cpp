#include "GpioWatch.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>

#include <kiv/sysfs_tools.h>

#include "Command.h"
#include "GpioDevice.h"
#include "GpioLine.h"
#include "Json.h"

namespace Tool
{

namespace
{

constexpr int canceled = -36; // CGpioEdge::wait() after interrupt()
std::atomic<int> receivedSignal{0};

/// What can be waited for, by the files or by the character device.
class IEdges
{
public:
    virtual ~IEdges() = default;
    virtual int wait(int timeoutMs) = 0;
    virtual void interrupt() = 0;
    /// Prints the level, or the edge that came.
    virtual void print(bool isEdge, bool json) = 0;
};

std::atomic<IEdges*> waitingEdge{nullptr};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<void*>::is_always_lock_free, "handlers use them");

void onEndSignal(int signal)
{
    receivedSignal = signal;
    if (IEdges* edge = waitingEdge)
        edge->interrupt();
}

/// While this lives, signals that end the process are kept for later; those that are ignored stay so.
class CEndSignals
{
public:
    CEndSignals()
    {
        for (Handler& handler : handlers)
        {
            handler.before = std::signal(handler.signal, handler.during);
            if (handler.before == SIG_IGN)
                std::signal(handler.signal, SIG_IGN);
        }
    }
    ~CEndSignals()
    {
        for (const Handler& handler : handlers)
            std::signal(handler.signal, handler.before);
    }
    CEndSignals(const CEndSignals&) = delete;
    CEndSignals& operator=(const CEndSignals&) = delete;

private:
    struct Handler
    {
        int signal;
        void (*during)(int);
        void (*before)(int);
    };
    // Without a reader of standard output, printing fails.
    Handler handlers[4] = {{SIGINT, onEndSignal, SIG_DFL},
                           {SIGTERM, onEndSignal, SIG_DFL},
                           {SIGHUP, onEndSignal, SIG_DFL},
                           {SIGPIPE, SIG_IGN, SIG_DFL}};
};

/// While this lives, those signals end the wait for an edge.
class CInterruptible
{
public:
    explicit CInterruptible(IEdges& edge) { waitingEdge = &edge; }
    ~CInterruptible() { waitingEdge = nullptr; }
    CInterruptible(const CInterruptible&) = delete;
    CInterruptible& operator=(const CInterruptible&) = delete;
};

/// Sets a line's edge, and back at the end.
class CEdgeSetting
{
public:
    CEdgeSetting(const CGpioLine& watchedLine, const std::string& edge) : line(watchedLine), before(line.edge())
    {
        line.setEdge(edge);
    }
    ~CEdgeSetting()
    {
        try
        {
            line.setEdge(before);
        }
        catch (const CToolError&) // the line is gone: nothing is left to set
        {}
    }
    CEdgeSetting(const CEdgeSetting&) = delete;
    CEdgeSetting& operator=(const CEdgeSetting&) = delete;

private:
    const CGpioLine& line;
    std::string before;
};

/// "2026-03-01 17:04:05.123456"
std::string localTime(std::chrono::system_clock::time_point now)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch());
    std::tm fields = {};
    localtime_r(&seconds, &fields);
    char date[64];
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M:%S", &fields);
    char text[96];
    std::snprintf(text, sizeof text, "%s.%06d", date, static_cast<int>(sinceEpoch.count() % 1000000));
    return text;
}

void printLevel(const CGpioLine& line, bool isEdge, bool json)
{
    const auto now = std::chrono::system_clock::now();
    const int value = line.value();
    if (json)
    {
        const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now.time_since_epoch()).count();
        CJsonObject object;
        object.addNumber("line", line.number()).addNumber("time_us", micros).addNumber("value", value);
        printLine(object.addBool("edge", isEdge).text());
    }
    else
        printLine(localTime(now) + ' ' + std::to_string(value) + (isEdge ? "" : " at first"));
    flushOutput();
}

int timeoutMs(double seconds)
{
    constexpr double mostSeconds = 2e6; // of an int of milliseconds
    return seconds < 0 ? -1 : static_cast<int>(std::ceil(std::fmin(seconds, mostSeconds) * 1000));
}

class CFileEdges : public IEdges
{
public:
    explicit CFileEdges(const CGpioLine& watchedLine) : line(watchedLine), edge(line.number())
    {
        require(line.name(), edge.error());
    }
    int wait(int timeoutMs) override { return edge.wait(timeoutMs); }
    void interrupt() override { edge.interrupt(); }
    void print(bool isEdge, bool json) override { printLevel(line, isEdge, json); }

private:
    const CGpioLine& line;
    Kiv::CGpioEdge edge;
};

/// The kernel's own time and counts.
class CDeviceEdges : public IEdges
{
public:
    CDeviceEdges(const DeviceLine& watchedLine, const std::string& userText, const std::string& kind)
        : line(watchedLine), text(userText)
    {
        Kiv::GpioRequestSettings settings;
        settings.edge = kind == "rising"    ? Kiv::GpioEdgeRising
                        : kind == "falling" ? Kiv::GpioEdgeFalling
                                            : Kiv::GpioEdgeBoth;
        settings.isWallClock = true;
        requestLine(line, settings, request);
    }
    int wait(int timeoutMs) override { return request.wait(timeoutMs, event); }
    void interrupt() override { request.interrupt(); }
    void print(bool isEdge, bool json) override
    {
        using std::chrono::system_clock;
        const std::chrono::nanoseconds shown(event.timeNs);
        const auto time = isEdge ? system_clock::time_point(std::chrono::duration_cast<system_clock::duration>(shown))
                                 : system_clock::now();
        const int value = isEdge ? static_cast<int>(event.edge == Kiv::GpioEdgeRising) : request.readLine(0);
        if (value < 0)
            throw failure(line.name, value);
        const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
        CJsonObject object;
        object.addText("line", text).addNumber("time_us", micros).addNumber("value", value).addBool("edge", isEdge);
        if (isEdge)
            object.addNumber("sequence", event.sequence).addNumber("lost", event.lostEdges);
        const std::string lost =
            isEdge && event.lostEdges != 0 ? " after " + std::to_string(event.lostEdges) + " lost" : "";
        printLine(json ? object.text() : localTime(time) + ' ' + std::to_string(value) + (isEdge ? lost : " at first"));
        flushOutput();
    }

private:
    DeviceLine line;
    std::string text;
    Kiv::CGpioRequest request;
    Kiv::GpioEdgeEvent event;
};

/// False when no edge came in time.
bool watch(const std::string& name, IEdges& edge, const GpioWatchOptions& options)
{
    edge.print(false, options.json);
    for (unsigned long long seen = 0; options.count == 0 || seen < options.count; ++seen)
    {
        const int result = receivedSignal != 0 ? canceled : edge.wait(timeoutMs(options.timeoutSeconds));
        if (result == canceled)
            return true;
        if (result == 0)
            return false;
        if (result < 0)
            throw failure(name, result);
        edge.print(true, options.json);
    }
    return true;
}

bool watchUntilSignal(const std::string& name, IEdges& edge, const GpioWatchOptions& options)
{
    const CInterruptible interruptible(edge);
    try
    {
        return watch(name, edge, options);
    }
    catch (const COutputGone&)
    {
        receivedSignal = SIGPIPE;
        return true;
    }
}

bool watchDeviceLine(const GpioWatchOptions& options)
{
    const DeviceLine line = deviceLine(options.line);
    const CEndSignals signals;
    if (lineInfo(line).direction == Kiv::PinDirectionOutput)
        throw badInput(line.name + " is an output: it has no edges");
    CDeviceEdges edge(line, options.line, options.edge);
    return watchUntilSignal(line.name, edge, options);
}

/// Sets the line up, watches, and sets it back.
bool watchLine(const GpioWatchOptions& options)
{
    if (usesGpioDevice())
        return watchDeviceLine(options);
    const unsigned number = gpioNumber(options.line);
    const CEndSignals signals;
    const CGpioLine line(number, options.line);
    if (line.direction() != "in")
        throw badInput(line.name() + " is an output: it has no edges");
    const CEdgeSetting setting(line, options.edge);
    CFileEdges edge(line);
    return watchUntilSignal(line.name(), edge, options);
}

} // namespace

void watchGpio(const GpioWatchOptions& options)
{
    const bool isInTime = watchLine(options);
    if (const int signal = receivedSignal)
        std::raise(signal);
    if (!isInTime)
        throw CToolError(ExitNo, "line " + options.line + ": no edge in time");
}

} // namespace Tool
