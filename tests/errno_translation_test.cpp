#include <kiv/errno_translation.h>

#include <cerrno>
#include <climits>

#include <gtest/gtest.h>

#include "support/TextHash.h"

TEST(ErrnoTranslation, GivesTheContractsCodes)
{
    const struct
    {
        const char* name;
        int err;
        ErrCode code;
    } rows[] = {
        {"success", 0, 0},
        {"own number", ENOENT, 2},
        {"negated", -ENOENT, 2},
        {"renumbered", ENXIO, 300},
        {"renumbered EEXIST", EEXIST, 302},
        {"renumbered ETIMEDOUT", -ETIMEDOUT, 360},
        {"shares a code", EPROTO, 323},
        {"shared code", EPROTOTYPE, 323},
        {"number without a text", EBADSLT, 57},
        {"without a number", 41, 0x4029},
        {"last entry", 149, 0x4095},
        {"first beyond", 150, 0x4095},
        {"far beyond", 100000, 0x4095},
        {"far below", -100000, 0x4095},
        {"largest", INT_MAX, 0x4095},
        {"smallest", INT_MIN, 0x4095},
    };
    for (const auto& row : rows)
        EXPECT_EQ(errnoToErrCode(row.err), row.code) << row.name;
}

// The hash was taken from the contract's own table; a code that changes by accident changes it.
TEST(ErrnoTranslation, KeepsTheCodeOfEveryErrno)
{
    TextHash hash;
    for (int err = 0; err < 150; ++err)
        hash.addLine(std::to_string(err) + " " + std::to_string(errnoToErrCode(err)));
    EXPECT_EQ(hash.value(), 0x179770b51e9af742U);
}
