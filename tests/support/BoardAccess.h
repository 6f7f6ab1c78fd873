/// What the tests of hardware access have in common: the outer world, readable accesses, and a table of them.
#ifndef KIV_TESTS_BOARDACCESS_H
#define KIV_TESTS_BOARDACCESS_H

#include <algorithm>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <sys/mount.h>

#include "support/ChildProcess.h"
#include "support/OnBoard.h"
#include "support/TemporaryDirectory.h"

/// Writes a file of the outer world, such as "sim/faults".
inline void setWorld(const std::string& file, const std::string& text) { std::ofstream("/sys/class/" + file) << text; }

/// The text of an attribute.
inline std::string attribute(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream("/sys/class/" + file).rdbuf();
    return text.str();
}

/// The bytes of a journal's line, written as in C++: "out\0".
inline std::string readable(const std::string& hexadecimal)
{
    std::string text;
    for (std::size_t i = 0; i + 1 < hexadecimal.size(); i += 2)
    {
        const char byte = static_cast<char>(std::stoi(hexadecimal.substr(i, 2), nullptr, 16));
        text += byte == '\0' ? "\\0" : byte == '\n' ? "\\n" : std::string(1, byte);
    }
    return text.empty() ? hexadecimal : text;
}

/// How many bytes readable() made this of.
inline std::size_t sizeOf(const std::string& readableBytes)
{
    return readableBytes.size() -
           static_cast<std::size_t>(std::count(readableBytes.begin(), readableBytes.end(), '\\'));
}

/// The accesses since the last call, such as "write gpio/gpio504/direction out\0 4"; `operation` picks some of them.
inline std::vector<std::string> accesses(const std::string& operation = "")
{
    std::istringstream journal(attribute("sim/journal"));
    setWorld("sim/journal", "");
    std::vector<std::string> found;
    for (std::string did, path, data, result; journal >> did >> path >> data >> result;)
    {
        const bool hasBytes = did == "read" || did == "write";
        path.erase(0, std::string("/sys/class/").size());
        if (operation.empty() || did == operation)
            found.push_back(did + ' ' + path + ' ' + (hasBytes ? readable(data) : data) + ' ' + result);
    }
    return found;
}

inline std::string answer(int result) { return std::to_string(result); }
inline std::string answer(int result, long output) { return std::to_string(result) + ' ' + std::to_string(output); }

/// One access by one function of the library. The path is relative to /sys/class.
struct AccessRow
{
    const char* name;
    std::function<std::string()> call;
    const char* operation; ///< "read" or "write"
    std::string path;
    std::string bytes; ///< as readable() shows them
    std::string openTag;
    std::string accessTag; ///< "silent": the function does not notice
    std::string success = "0";
    std::string failedOpen = "-300";
    std::string failedAccess = "-300";
};

/// Calls the function of a row in a child process: with success, with a failing open, with a failing access, and
/// interrupted by signals. Each time the board is the one that `prepare` makes.
inline void play(const AccessRow& row, const std::function<void()>& prepare)
{
    const bool writes = row.operation == std::string("write");
    const std::string path = row.path + (writes ? " w " : " r ");
    const std::string full = "/sys/class/" + row.path;
    const std::string size = std::to_string(sizeOf(row.bytes));
    const std::string opened = "open " + path + "0";
    const std::string accessed = std::string(row.operation) + ' ' + row.path + ' ';
    const std::string done = accessed + row.bytes + ' ' + size;
    const std::string failed = accessed + (writes ? row.bytes : "-") + ' ';
    const std::string closed = "close " + row.path + " - 0";
    const std::string order = ' ' + full + " 1 ";
    const std::string reason = ": No such device or address\n";
    const struct
    {
        const char* name;
        std::string faults;
        std::string answer;
        std::string err;
        std::vector<std::string> accesses;
    } cases[] = {
        {"success", "", row.success, "", {opened, done, closed}},
        {"failing open", "open" + order + "ENXIO\n", row.failedOpen, row.openTag + reason, {"open " + path + "-ENXIO"}},
        {"failing access",
         row.operation + order + "ENXIO\n",
         row.failedAccess,
         row.accessTag == "silent" ? "" : row.accessTag + reason,
         {opened, failed + "-ENXIO", closed}},
        {"interrupted",
         "open" + order + "EINTR\n" + row.operation + order + "EINTR\n",
         row.success,
         "",
         {"open " + path + "-EINTR", opened, failed + "-EINTR", done, closed}},
    };
    for (const auto& expected : cases)
    {
        SCOPED_TRACE(std::string(row.name) + ", " + expected.name);
        setWorld("sim/reset", "1");
        prepare();
        accesses();
        setWorld("sim/faults", expected.faults);
        CChildProcess child([&row] {
            const std::string said = row.call();
            return ::write(STDOUT_FILENO, said.data(), said.size()) < 0 ? 1 : 0;
        });
        EXPECT_EQ(child.wait(), 0);
        EXPECT_EQ(child.out(), expected.answer);
        EXPECT_EQ(child.err(), expected.err);
        EXPECT_EQ(accesses(), expected.accesses);
    }
}

/// A plain file in the place of an attribute, for texts that no kernel presents.
class CPlainFile
{
public:
    CPlainFile(const std::string& attributePath, const std::string& text) : place("/sys/class/" + attributePath)
    {
        const std::string file = directory.path() / "attribute";
        std::ofstream(file) << text;
        EXPECT_EQ(mount(file.c_str(), place.c_str(), nullptr, MS_BIND, nullptr), 0) << place;
    }
    ~CPlainFile() { umount2(place.c_str(), MNT_DETACH); }
    CPlainFile(const CPlainFile&) = delete;
    CPlainFile& operator=(const CPlainFile&) = delete;

private:
    const std::string place;
    const TemporaryDirectory directory;
};

#endif
