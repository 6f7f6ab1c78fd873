#include "Panel.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "Sandbox.h"
#include "SingleThread.h"

namespace Sim
{

namespace
{

constexpr const char* statePath = "/sys/class/sim/state";
constexpr int redrawMsecs = 200;
constexpr std::size_t barWidth = 30;
constexpr std::size_t nameWidth = 18;

using Fields = std::vector<std::string>;

Fields split(const std::string& line)
{
    Fields fields;
    std::size_t begin = 0;
    for (std::size_t tab = 0; (tab = line.find('\t', begin)) != std::string::npos; begin = tab + 1)
        fields.push_back(line.substr(begin, tab - begin));
    fields.push_back(line.substr(begin));
    return fields;
}

std::string padded(const std::string& text, std::size_t width)
{
    return text + std::string(width - std::min(text.size(), width), ' ');
}

std::string percentText(double fraction)
{
    char text[32];
    std::snprintf(text, sizeof text, "%6.1f %%  ", fraction * 100);
    return text;
}

std::string frequencyText(double period_ns)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.6g Hz", 1e9 / period_ns);
    return text;
}

class CDrawing
{
public:
    explicit CDrawing(bool isColoured) : coloured(isColoured) {}

    void add(const Fields& fields)
    {
        if (fields[0] == "kernel" && fields.size() == 2)
            text += "kiv-board, answers of kernel " + fields[1] + "\n";
        else if (fields[0] == "gpio" && fields.size() == 7)
            addLine(fields);
        else if (fields[0] == "pwm" && fields.size() == 8)
            addChannel(fields);
        else if (fields[0] == "adc" && fields.size() == 3)
            addInput(fields);
    }

    std::string text;

private:
    std::string painted(const std::string& drawn, const char* colour) const
    {
        return coloured ? std::string("\033[") + colour + "m" + drawn + "\033[0m" : drawn;
    }

    /// Begins a block of its own for each chip.
    void addTitle(const std::string& title)
    {
        if (title != lastTitle)
            text += "\n" + painted(title, "1") + "\n";
        lastTitle = title;
    }

    void addLine(const Fields& fields)
    {
        const std::string& use = fields[4];
        const bool isHigh = fields[6] == "1";
        addTitle("GPIO " + fields[1]);
        text += "  " + padded(fields[2], 5) + padded(fields[3], nameWidth) +
                padded(fields[5] == "out" ? "<- out" : "-> in", 8) +
                painted(isHigh ? "[#] 1" : "[ ] 0", isHigh ? "32" : "0") +
                (use == "exported" ? "" : "  (" + use + ")") + "\n";
    }

    void addChannel(const Fields& fields)
    {
        const double fraction = std::strtod(fields[5].c_str(), nullptr);
        const double period_ns = std::strtod(fields[6].c_str(), nullptr);
        const auto filled =
            std::min(static_cast<std::size_t>(std::lround(fraction * static_cast<double>(barWidth))), barWidth);
        addTitle("PWM " + fields[1] + " (" + fields[2] + ")");
        text += "  " + padded(fields[3], 7) + "[" + painted(std::string(filled, '#'), "33") +
                std::string(barWidth - filled, '.') + "]" + percentText(fraction) + padded(fields[4], 5);
        text += period_ns > 0 ? frequencyText(period_ns) : "no period";
        text += fields[7] == "inversed" ? "  inversed\n" : "\n";
    }

    void addInput(const Fields& fields)
    {
        addTitle("ADC");
        text += "  " + padded(fields[1], nameWidth + 5) + painted(fields[2], "36") + "\n";
    }

    bool coloured;
    std::string lastTitle;
};

bool readState(std::string& state)
{
    std::ifstream file(statePath);
    std::ostringstream all;
    all << file.rdbuf();
    state = all.str();
    return file.is_open() && !state.empty();
}

/// The terminal without line editing, on its second screen and without cursor; as it was when the object goes.
class CRawTerminal
{
public:
    CRawTerminal()
    {
        if (tcgetattr(STDIN_FILENO, &before) == 0)
        {
            termios raw = before;
            raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
            isChanged = tcsetattr(STDIN_FILENO, TCSANOW, &raw) == 0;
        }
        std::fputs("\033[?1049h\033[?25l", stdout);
    }
    CRawTerminal(const CRawTerminal&) = delete;
    CRawTerminal& operator=(const CRawTerminal&) = delete;
    ~CRawTerminal()
    {
        std::fputs("\033[?25h\033[?1049l", stdout);
        std::fflush(stdout);
        if (isChanged)
            tcsetattr(STDIN_FILENO, TCSANOW, &before);
    }

private:
    termios before = {};
    bool isChanged = false;
};

volatile std::sig_atomic_t isStopped = 0;

void stop(int) { isStopped = 1; }

/// True when q or Ctrl-C was pressed meanwhile.
bool waitForKey()
{
    pollfd keyboard = {STDIN_FILENO, POLLIN, 0};
    if (poll(&keyboard, 1, redrawMsecs) <= 0)
        return false;
    char key = 0;
    if (read(STDIN_FILENO, &key, 1) <= 0)
        return true;
    return key == 'q' || key == '\003';
}

/// Draws over what stands there, so that nothing flickers.
void redraw(const std::string& drawing)
{
    std::string frame = "\033[H";
    for (const char c : drawing)
        frame += c == '\n' ? std::string("\033[K\r\n") : std::string(1, c);
    frame += "\033[K\r\n q leaves\033[J";
    std::fputs(frame.c_str(), stdout);
    std::fflush(stdout);
}

void drawLive(std::string state)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, stop);
    const sigset_t watched = watchedSignals();
    sigprocmask(SIG_UNBLOCK, &watched, nullptr);
    const CRawTerminal terminal;
    do
        redraw(drawPanel(state, true));
    while (!waitForKey() && isStopped == 0 && readState(state));
}

} // namespace

std::string drawPanel(const std::string& state, bool isColoured)
{
    CDrawing drawing(isColoured);
    std::istringstream lines(state);
    for (std::string line; std::getline(lines, line);)
        drawing.add(split(line));
    return drawing.text;
}

namespace
{

int showBoard(pid_t pid, bool isOnce)
{
    try
    {
        if (pid != 0)
            enterNamespaces(pid);
    }
    catch (const CNoSandbox& reason)
    {
        std::fprintf(stderr, "kiv-board: %s\n", reason.what());
        return 1;
    }
    std::string state;
    if (!readState(state))
    {
        std::fputs("kiv-board: no simulated board here; start the panel by kiv-board run, or give --pid\n", stderr);
        return 1;
    }
    if (isOnce || isatty(STDOUT_FILENO) == 0)
        return std::fputs(drawPanel(state, false).c_str(), stdout) < 0 ? 1 : 0;
    drawLive(state);
    return 0;
}

} // namespace

int showPanel(pid_t pid, bool isOnce)
{
    if (pid == 0)
        return showBoard(pid, isOnce);
    return runSingleThreaded([=] { return showBoard(pid, isOnce); });
}

} // namespace Sim
