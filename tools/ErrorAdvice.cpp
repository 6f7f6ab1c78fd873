#include "ErrorAdvice.h"

#include <algorithm>
#include <iterator>

namespace Tool
{

namespace
{

struct Advice
{
    ErrCode code;
    const char* text;
};

// Ascending.
// clang-format off
constexpr Advice advices[] = {
    {1, "A GPIO line: values are written to outputs only, set the direction first. Otherwise the process lacks a right that root has."},
    {2, "Check the path. GPIO and PWM: export the line or channel first; after an unexport its files are gone."},
    {3, "The process or thread has ended already."},
    {4, "A signal came; repeat the call."},
    {5, "Look at the kernel log (dmesg) for the device. A storage: open it before use, and check that it is a readable and writable file."},
    {6, "Shorten the command line or the environment."},
    {7, "The program is built for another processor, or its file is damaged."},
    {8, "There is no child left to wait for."},
    {9, "The file or device is closed, or opened for the other direction."},
    {10, "The folder or file system holds no more links to this file."},
    {11, "Try again a little later. It is also the answer when threads or locked memory run out."},
    {12, "Memory is short: look at who grows (free, top), and at the limits of the service."},
    {13, "The process may not. GPIO and PWM: add its user to the group that udev gives the files to; after an export wait with gpio_wait_access() or pwm_wait_access()."},
    {14, "A bad pointer went into a system call: a fault of the program."},
    {15, "No lock is left on this file system."},
    {16, "Exported already, or held by a driver: /sys/kernel/debug/gpio names the holder. PWM: switch the channel off before the polarity is changed."},
    {18, "Both names must lie on the same file system: copy instead of renaming."},
    {19, "The device is not there: check driver, device tree and number. The numbers of GPIO lines and PWM chips move between kernels; find them by label or device."},
    {20, "A part of the path is a file where a folder is needed."},
    {21, "The path names a folder where a file is needed."},
    {22, "A value out of range or order. PWM: period before duty cycle, duty cycle not above the period; GPIO: the line is not exported, or has no such edge."},
    {23, "The whole system has too many files open; look for the process that leaks them (lsof)."},
    {24, "This process has too many files open: it leaks them, or its limit is low (ulimit -n)."},
    {25, "The device does not know this request: it is of another kind than thought."},
    {27, "The file would grow beyond a limit of the file system or the process."},
    {28, "Free space on the file system (df), also in its inodes (df -i)."},
    {29, "The device has no positions: it is a pipe or terminal, not a file."},
    {30, "The file system is mounted read-only: on purpose, or after an error that the kernel log tells."},
    {31, "The bytes are no text in the expected encoding."},
    {32, "The other end of the pipe or connection is closed."},
    {35, "Two threads wait for each other: a fault in the order of locks."},
    {36, "Somebody ended the operation on purpose."},
    {37, "The value does not fit into its type."},
    {38, "The kernel lacks this call."},
    {39, "The thread that held the lock has died; what it guarded may be half done."},
    {40, "Symbolic links on the path lead in a circle."},
    {57, "The errno value EBADSLT, which has no text here."},
    {60, "Shorten the file name: 255 bytes are the most for each part."},
    {66, "Empty the folder first."},
    {105, "The kernel has no buffer left: send more slowly, or make the queue longer (ip link ... txqueuelen)."},
    {122, "The user's quota is used up."},
    {124, "The program runs: stop it, or replace its file by renaming a new one over it."},
    {200, "No more data is there; that is an end, not a fault."},
    {201, "The device or file system cannot do this at all."},
    {202, "This device cannot do it; check its type and firmware."},
    {203, "No cause was given; look at the log lines before it."},
    {208, "No answer in time: check cable, supply and address, then the time limit."},
    {300, "The device is not there or not configured; check driver and kernel log."},
    {301, "The process may not; check user and groups."},
    {302, "Remove the old one first, or take another name."},
    {310, "It goes on by itself; wait for its end."},
    {311, "It goes on already; wait for its end."},
    {322, "Send the message in parts."},
    {323, "Both ends must speak the same protocol; the errno value EPROTO ends here too."},
    {330, "Another process serves this port, or an old connection still times out: ss -ltnp shows it."},
    {331, "This machine does not have that address."},
    {350, "Bring the interface up: ip link."},
    {351, "No route leads there: ip route."},
    {353, "This side gave the connection up; connect anew."},
    {354, "The other side restarted or closed hard; connect anew."},
    {357, "Connect first."},
    {360, "No answer in time: check cable, supply and address, then the time limit."},
    {361, "The machine answers, but no program listens on that port."},
    {364, "Is the other machine switched on?"},
    {365, "The address answers to nobody: check cable, switch and address."},
    {0x201, "Compare the value with the range that the manual gives."},
    {0x203, "An exception was caught: the log has its text."},
    {0x204, "Compare the configuration with the device's manual, and read it back."},
    {0x205, "Bring the device into the state that the operation needs first."},
    {0x206, "Put something into the list first."},
    {0x208, "It exists: use it, or remove it first."},
    {0x209, "Check the plugin's path, and with ldd that its libraries are there."},
    {0x20A, "The object is constant; write another one."},
    {0x240, "Check cable, connector and supply of the serial line."},
    {0x241, "Check that the device is on, and that baud rate, parity and address are the same on both sides."},
    {0x244, "Bytes were disturbed: check shield, earth and length of the cable, and lower the baud rate."},
    {0x302, "Send more slowly; if nothing leaves the queue, no other node acknowledges: check the bus."},
    {0x303, "Check termination (120 ohm at each end), cable and baud rate; ip -s -d link show can0 shows the counters."},
    {0x304, "Check termination (120 ohm at each end), cable and baud rate; ip -s -d link show can0 shows the counters."},
    {0x305, "Check termination, cable and baud rate: the controller has seen too many errors to signal them actively."},
    {0x306, "Mend cable, termination or baud rate, then start the controller again (ip link set can0 type can restart-ms 100)."},
    {0x307, "Read faster, or filter out what is not needed."},
    {0x310, "No other node acknowledges: check that one is on, the cable, and the baud rate on both sides."},
    {0x311, "Check that the adapter is plugged in, and with lsusb or lspci that the kernel sees it."},
    {0x318, "Take a baud rate that all nodes on the bus know."},
    {0x322, "Plug the adapter in again; look at its supply if it happens again."},
    {0x333, "Bring the interface up: ip link set can0 up type can bitrate 500000."},
    {0x341, "Check supply, node numbers, baud rate and termination."},
    {0x403, "The node does not answer: check that it is on, its number, and that it is not stopped."},
    {0x40A, "Do not read this object; the manual lists its access."},
    {0x40B, "Do not write this object; the manual lists its access."},
    {0x40C, "The device has no such index: check index, and whether its firmware is the one the manual describes."},
    {0x412, "Give the value the size that the object dictionary lists."},
    {0x413, "Give the value the size that the object dictionary lists."},
    {0x414, "Give the value the size that the object dictionary lists."},
    {0x415, "The object has no such sub-index."},
    {0x416, "Compare the value with the range that the manual gives."},
    {0x417, "Compare the value with the range that the manual gives."},
    {0x418, "Compare the value with the range that the manual gives."},
    {0x41E, "Bring the node into the state that allows it, pre-operational mostly."},
    {0x4FF, "The manual of the device explains its own abort codes."},
    {0x502, "Node numbers go from 1 to 127."},
    {0x642, "Check supply and enable input of the drive; read its status word (0x6041)."},
    {0x643, "Check that the drive is operational and that the PDO with its status word is mapped."},
    {0x644, "Read the drive's error (0x603F), remove its cause, and reset the fault (control word bit 7)."},
    {0x645, "Read the drive's error (0x603F), remove its cause, and reset the fault (control word bit 7)."},
    {0x646, "Check power stage, enable input and brake; read the status word (0x6041)."},
    {0x661, "Check supply and state of the pump; read its status word."},
    {0x4000, "The flag of raw errno values: 0x4000 plus an errno value that has no code of its own. The text is the system's."},
    {0x4095, "Some errno value above 149; which one is not kept."},
    {0x8000, "From here on the application defines the codes: look into its manual."},
};

// For the codes of a group without advice of their own. By the group's last code, ascending.
constexpr Advice groupAdvices[] = {
    {0, ""},
    {140, "A system call or an application says so; strace -f shows the call, and its manual page when it fails like this."},
    {208, "Look at the log lines before it."},
    {365, "Check address, cable and interface (ip addr, ip link, ss)."},
    {0x20A, "Look at the log lines before it: they name the operation."},
    {0x249, "Check cable, baud rate and frame format on both sides."},
    {0x333, "Check the interface (ip -s -d link show can0), its driver (dmesg) and the bus."},
    {0x341, "Check the bus first (ip -s -d link show can0), then the nodes."},
    {0x4FF, "The node refused the transfer: compare index, sub-index and value with its object dictionary."},
    {0x504, "Check that just one node is in the LSS configuration state, and its manual."},
    {0x661, "Read the node's error register (0x1001) and error field (0x1003), and its manual."},
    {0x4095, "A system call failed with an errno value that has no code of its own: the code is 0x4000 plus that value."},
    {0x80000000, "The application defines this code: look into its manual."},
};
// clang-format on

template<std::size_t Size>
constexpr bool isAscending(const Advice (&rows)[Size])
{
    for (std::size_t i = 1; i < Size; ++i)
        if (rows[i].code <= rows[i - 1].code)
            return false;
    return true;
}

static_assert(isAscending(advices) && isAscending(groupAdvices), "a row stands in the wrong place");

} // namespace

std::string adviceFor(ErrCode code, bool isInGroup)
{
    const auto isBelow = [](const Advice& row, ErrCode wanted) { return row.code < wanted; };
    const Advice* own = std::lower_bound(std::begin(advices), std::end(advices), code, isBelow);
    if (own != std::end(advices) && own->code == code)
        return own->text;
    if (!isInGroup)
        return "";
    const Advice* group = std::lower_bound(std::begin(groupAdvices), std::end(groupAdvices), code, isBelow);
    return group->text;
}

} // namespace Tool
