/// Runs a whole test program on the simulated board, so that its tests use /sys/class as on a real one.
#ifndef KIV_TESTS_ONBOARD_H
#define KIV_TESTS_ONBOARD_H

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <unistd.h>

#include "support/ChildProcess.h"

/// For main(): starts the program anew on a board of its own, described by the arguments of `kiv-board run`, and does
/// not come back then. Where there can be no board it does, and the tests of COnBoard report themselves as skipped.
inline void moveOntoBoard(const std::string& kivBoard, std::vector<std::string> arguments, int argc, char** argv)
{
    for (int i = 1; i < argc; ++i)
        if (std::strcmp(argv[i], "--gtest_list_tests") == 0)
            return;
    if (std::getenv("KIV_TEST_BOARD") != nullptr)
        return;
    CChildProcess probe({kivBoard, "run", "--", "true"});
    if (probe.wait() == 125)
    {
        setenv("KIV_TEST_BOARD", probe.err().c_str(), 1);
        return;
    }
    setenv("KIV_TEST_BOARD", "", 1);
    arguments.insert(arguments.begin(), {kivBoard, "run"});
    arguments.insert(arguments.end(), {"--", argv[0]});
    arguments = asRunHere(arguments);
    std::vector<char*> command;
    for (std::string& argument : arguments)
        command.push_back(argument.data());
    for (int i = 1; i <= argc; ++i)
        command.push_back(argv[i]); // the null at the end included
    execv(command[0], command.data());
    std::perror(command[0]);
    std::exit(1);
}

/// A test that needs the board; it begins as the board is at power-on.
class COnBoard : public testing::Test
{
protected:
    void SetUp() override
    {
        const char* reason = std::getenv("KIV_TEST_BOARD");
        if (reason != nullptr && *reason != '\0')
            GTEST_SKIP() << reason;
        std::ofstream("/sys/class/sim/reset") << 1;
    }
};

#endif
