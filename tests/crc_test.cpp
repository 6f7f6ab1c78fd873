#include <kiv/crc.h>

#include <atomic>
#include <random>
#include <thread>
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

/// Shifts register and polynomial a bit at a time.
std::uint16_t bitwiseCrc16(const unsigned char* data, int len, unsigned poly)
{
    int finalShift = 1;
    for (; (poly & 0x80000000U) == 0; poly <<= 1)
        ++finalShift;
    std::uint64_t crc = 0;
    for (; len > 0; --len)
    {
        crc ^= std::uint64_t{*data++} << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = ((crc & 0x80000000U) != 0 ? crc ^ poly : crc) << 1 & 0xFFFFFFFFU;
    }
    return static_cast<std::uint16_t>(crc >> finalShift);
}

unsigned bitwiseCrc8(const unsigned char* data, int len)
{
    unsigned crc = 0;
    for (; len > 0; --len)
    {
        crc ^= *data++;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1U) != 0 ? crc >> 1 ^ 0x8CU : crc >> 1;
    }
    return crc;
}

/// Sums `rounds` pieces of random data from random places with polynomials of all widths; how many come out wrong.
int wrongSums(unsigned seed, int rounds)
{
    const unsigned polys[] = {0x11021, 0x18005,    0x107,      0x1021,     1,      2,
                              0x1FFFF, 0x80000000, 0xFFFFFFFE, 0xC0000401, 0x20000};
    std::mt19937 random(seed);
    Bytes data(4000);
    for (unsigned char& byte : data)
        byte = static_cast<unsigned char>(random());
    int wrong = 0;
    for (int round = 0; round < rounds; ++round)
    {
        const unsigned char* const start = data.data() + random() % 64;
        const auto len = static_cast<int>(random() % (random() % 8 == 0 ? 3900 : 100));
        const unsigned poly =
            random() % 4 == 0 ? static_cast<unsigned>(random()) | 1U : polys[random() % std::size(polys)];
        for (int again = 0; again < 2; ++again)
            wrong += Kiv::simpleCRC16(start, len, poly) != bitwiseCrc16(start, len, poly);
    }
    return wrong;
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

TEST(Crc, IsThatOfSingleBitsWhateverTheLengthPlaceAndThread)
{
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned seed = 1; seed <= 4; ++seed)
        threads.emplace_back([&wrong, seed] { wrong += wrongSums(seed, 2000); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(Crc, Crc8IsThatOfSingleBitsForEveryLengthAndPlace)
{
    std::mt19937 random(1);
    Bytes data(255 + 8);
    for (unsigned char& byte : data)
        byte = static_cast<unsigned char>(random());
    for (int place = 0; place < 8; ++place)
        for (int len = 0; len <= 255; ++len)
            EXPECT_EQ(Kiv::crc8(data.data() + place, static_cast<unsigned char>(len)),
                      bitwiseCrc8(data.data() + place, len));
}
