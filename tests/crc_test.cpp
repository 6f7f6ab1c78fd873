#include <kiv/crc.h>

#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using Bytes = std::vector<unsigned char>;

const Bytes digits{'1', '2', '3', '4', '5', '6', '7', '8', '9'};

/// Long division of the message followed by as many zero bits as the polynomial's degree; the remainder's low 16 bits.
std::uint16_t remainder(const Bytes& message, std::uint64_t poly)
{
    unsigned degree = 0;
    while (poly >> (degree + 1) != 0)
        ++degree;
    std::uint64_t rest = 0;
    for (std::size_t bit = 0; bit < message.size() * 8 + degree; ++bit)
    {
        const bool isSet = bit < message.size() * 8 && (message[bit / 8] >> (7 - bit % 8) & 1) != 0;
        rest = rest << 1 | (isSet ? 1U : 0U);
        if ((rest >> degree & 1) != 0)
            rest ^= poly;
    }
    return static_cast<std::uint16_t>(rest);
}

} // namespace

TEST(Crc, MatchesPublishedCheckValues)
{
    EXPECT_EQ(Kiv::crc8(digits.data(), 9), 0xA1);
    const struct
    {
        unsigned poly;
        unsigned crc;
    } rows[] = {{0x11021, 0x31C3}, {0x18005, 0xFEE8}, {0x107, 0xF4}, {0x1021, 0x4DE}};
    for (const auto& row : rows)
        EXPECT_EQ(Kiv::simpleCRC16(digits.data(), 9, row.poly), row.crc) << std::hex << row.poly;
}

TEST(Crc, NothingToSumIsZero)
{
    EXPECT_EQ(Kiv::crc8(nullptr, 0), 0);
    EXPECT_EQ(Kiv::simpleCRC16(nullptr, 0, 0x11021), 0);
    EXPECT_EQ(Kiv::simpleCRC16(digits.data(), -1, 0x11021), 0);
    EXPECT_EQ(Kiv::simpleCRC16(digits.data(), 9, 0), 0);
}

TEST(Crc, RecordFollowedByItsCrc8SumsToZero)
{
    Bytes record;
    for (int i = 0; i < 254; ++i)
        record.push_back(static_cast<unsigned char>(i * 7 + 3));
    record.push_back(Kiv::crc8(record.data(), 254));
    EXPECT_EQ(Kiv::crc8(record.data(), 255), 0);
    record[100] ^= 1;
    EXPECT_NE(Kiv::crc8(record.data(), 255), 0);
}

TEST(Crc, IsTheRemainderForPolynomialsOfEveryDegree)
{
    std::mt19937 random(1);
    for (unsigned degree = 0; degree < 32; ++degree)
        for (std::size_t length : {1U, 2U, 3U, 15U, 16U, 17U, 100U})
        {
            Bytes message(length);
            for (unsigned char& byte : message)
                byte = static_cast<unsigned char>(random());
            const auto poly = static_cast<unsigned>(1U << degree | (random() & ((1U << degree) - 1)));
            EXPECT_EQ(Kiv::simpleCRC16(message.data(), static_cast<int>(length), poly), remainder(message, poly))
                << std::hex << poly << " over " << length;
        }
}
