#include <kiv/string_utility.h>

#include <string>

#include <gtest/gtest.h>

TEST(StringUtility, OnlyHexadecimalDigitsHaveAValue)
{
    const std::string lower = "0123456789abcdef";
    const std::string upper = "0123456789ABCDEF";
    for (int c = -128; c < 128; ++c)
    {
        const auto character = static_cast<char>(c);
        const std::size_t place = std::min(lower.find(character), upper.find(character));
        const int expected = place == std::string::npos ? -1 : static_cast<int>(place);
        EXPECT_EQ(Kiv::String::HexToInt(character), expected) << c;
    }
}

TEST(StringUtility, DigitDependsOnTheLowNibbleOnly)
{
    for (int c = -128; c < 128; ++c)
        EXPECT_EQ(Kiv::String::LNibbleToHex(static_cast<char>(c)), "0123456789ABCDEF"[c & 15]) << c;
}
