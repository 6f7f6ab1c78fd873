#include <kiv/basetypes.h>

#include <bitset>
#include <cstring>

#include <gtest/gtest.h>

TEST(BaseTypes, ByteOrderIsThatOfMemory)
{
    const int number = 1;
    char firstByte = 0;
    std::memcpy(&firstByte, &number, 1);
    EXPECT_EQ(Kiv::endianness(), firstByte == 1 ? 1234 : 4321);
}

TEST(BaseTypes, BitCountCountsEveryBit)
{
    EXPECT_EQ(Kiv::bitCount(0), 0);
    EXPECT_EQ(Kiv::bitCount(0xFFFFFFFF), 32);
    for (unsigned v = 1, i = 0; i < 10000; ++i, v = v * 1664525U + 1013904223U)
        ASSERT_EQ(Kiv::bitCount(v), static_cast<int>(std::bitset<32>(v).count())) << v;
    for (unsigned bit = 0; bit < 32; ++bit)
        EXPECT_EQ(Kiv::bitCount(1U << bit), 1) << bit;
}
