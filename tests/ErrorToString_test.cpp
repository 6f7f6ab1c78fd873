#include <kiv/ErrorToString.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/TextHash.h"

namespace
{
const std::string unknownText = "Unknown error or invalid error code";

constexpr int firstCode = 0;
constexpr int lastCode = 0x8000;
} // namespace

TEST(ErrorToString, GivesTheContractsTexts)
{
    const struct
    {
        const char* name;
        ErrCode code;
        std::string text;
    } rows[] = {
        {"success", 0, "No error"},
        {"negated", 0xFFFFFFFE, "No such entity"},
        {"first row of two", 11, "Resource unavailable - try again later"},
        {"out of order", 93, "Protocol not supported"},
        {"unassigned", 17, unknownText},
        {"EBADSLT's code", 57, unknownText},
        {"blank at the end", 0x30B, "General failure of physical CAN layer detected "},
        {"last indexed", 0x661, "Timeout waiting for pump status word"},
        {"behind the last", 0x662, unknownText},
        {"errno flag alone", 0x4000, "Standard C errno error code"},
        {"application base", 0x8000, "Application specific error"},
        {"application's own", 0x8001, unknownText},
        {"raw errno", 0x4002, std::strerror(ENOENT)},
        {"raw errno negated", 0U - 0x4002U, std::strerror(ENOENT)},
        {"raw errno with more bits", 0xC002, std::strerror(0x8002)},
        {"largest positive", 0x7FFFFFFF, std::strerror(0x7FFFBFFF)},
        {"smallest negative", 0x80000000, unknownText},
    };
    for (const auto& row : rows)
        EXPECT_EQ(ErrorToString(row.code), row.text) << row.name;
}

// The hash was taken from the contract's own list; a text that changes by a letter changes it.
TEST(ErrorToString, KeepsEveryTextLetterForLetter)
{
    TextHash hash;
    int known = 0;
    for (ErrCode code = firstCode; code <= lastCode; ++code)
    {
        const bool isRawErrno = (code & 0x4000U) != 0 && code != 0x4000;
        if (isRawErrno || ErrorToString(code) == unknownText)
            continue;
        ++known;
        hash.addLine(std::to_string(code) + " " + ErrorToString(code));
    }
    EXPECT_EQ(known, 212);
    EXPECT_EQ(hash.value(), 0xCC4E3F24C63DDA97U);
}

TEST(ErrorToString, BareSearchDiffersInDocumentedPlacesOnly)
{
    for (int code = firstCode; code <= lastCode; ++code)
    {
        const bool isRawErrno = (code & 0x4000) != 0 && code != 0x4000;
        const std::string expected = code == 11                 ? "Try again later"
                                     : code == 93 || isRawErrno ? unknownText
                                                                : ErrorToString(static_cast<ErrCode>(code));
        ASSERT_EQ(ErrorToStringPriv(code), expected) << code;
    }
    for (const int code : {-2, INT_MIN, INT_MAX})
        EXPECT_EQ(ErrorToStringPriv(code), unknownText) << code;
}

TEST(ErrorToString, ThreadsGetTheSamePointersForRawErrnos)
{
    constexpr unsigned texts = 1000; // several to a bucket of the cache
    std::vector<std::vector<const char*>> seen(4, std::vector<const char*>(texts));
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < seen.size(); ++thread)
        threads.emplace_back([&, thread] {
            for (unsigned i = 0; i < texts; ++i)
            {
                const unsigned errnoValue = thread % 2 == 0 ? i : texts - 1 - i;
                seen[thread][errnoValue] = ErrorToString(0x10000 | 0x4000 | errnoValue);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (unsigned errnoValue = 0; errnoValue < texts; ++errnoValue)
    {
        EXPECT_EQ(seen[0][errnoValue], std::string(std::strerror(static_cast<int>(0x10000 | errnoValue))));
        for (const auto& other : seen)
            EXPECT_EQ(other[errnoValue], seen[0][errnoValue]);
    }
}

namespace
{
const char* textBeforeExit = nullptr;

void printTextsAtExit() // runs after whatever was created since its registration is gone
{
    const bool isSame = textBeforeExit == ErrorToString(0x4002);
    std::fprintf(stderr, "%s|%s|%s\n", isSame ? "same" : "other", textBeforeExit, ErrorToString(0x4003));
}
} // namespace

TEST(ErrorToString, WorksWhileTheProcessExits)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::string expected =
        "same\\|" + std::string(std::strerror(ENOENT)) + "\\|" + std::string(std::strerror(ESRCH)) + "\n";
    EXPECT_EXIT(
        {
            std::atexit(printTextsAtExit);
            textBeforeExit = ErrorToString(0x4002);
            std::exit(0);
        },
        testing::ExitedWithCode(0), expected);
}
