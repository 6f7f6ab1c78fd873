#include <kiv/crc.h>

#include <array>

#include "kiv/values/CrcSlices.h"
#include "kiv/values/KeptCrcSlices.h"

namespace Kiv
{

// clang-format off
constexpr unsigned char crc8_table[256] = {
    0x00, 0x5E, 0xBC, 0xE2, 0x61, 0x3F, 0xDD, 0x83, 0xC2, 0x9C, 0x7E, 0x20, 0xA3, 0xFD, 0x1F, 0x41,
    0x9D, 0xC3, 0x21, 0x7F, 0xFC, 0xA2, 0x40, 0x1E, 0x5F, 0x01, 0xE3, 0xBD, 0x3E, 0x60, 0x82, 0xDC,
    0x23, 0x7D, 0x9F, 0xC1, 0x42, 0x1C, 0xFE, 0xA0, 0xE1, 0xBF, 0x5D, 0x03, 0x80, 0xDE, 0x3C, 0x62,
    0xBE, 0xE0, 0x02, 0x5C, 0xDF, 0x81, 0x63, 0x3D, 0x7C, 0x22, 0xC0, 0x9E, 0x1D, 0x43, 0xA1, 0xFF,
    0x46, 0x18, 0xFA, 0xA4, 0x27, 0x79, 0x9B, 0xC5, 0x84, 0xDA, 0x38, 0x66, 0xE5, 0xBB, 0x59, 0x07,
    0xDB, 0x85, 0x67, 0x39, 0xBA, 0xE4, 0x06, 0x58, 0x19, 0x47, 0xA5, 0xFB, 0x78, 0x26, 0xC4, 0x9A,
    0x65, 0x3B, 0xD9, 0x87, 0x04, 0x5A, 0xB8, 0xE6, 0xA7, 0xF9, 0x1B, 0x45, 0xC6, 0x98, 0x7A, 0x24,
    0xF8, 0xA6, 0x44, 0x1A, 0x99, 0xC7, 0x25, 0x7B, 0x3A, 0x64, 0x86, 0xD8, 0x5B, 0x05, 0xE7, 0xB9,
    0x8C, 0xD2, 0x30, 0x6E, 0xED, 0xB3, 0x51, 0x0F, 0x4E, 0x10, 0xF2, 0xAC, 0x2F, 0x71, 0x93, 0xCD,
    0x11, 0x4F, 0xAD, 0xF3, 0x70, 0x2E, 0xCC, 0x92, 0xD3, 0x8D, 0x6F, 0x31, 0xB2, 0xEC, 0x0E, 0x50,
    0xAF, 0xF1, 0x13, 0x4D, 0xCE, 0x90, 0x72, 0x2C, 0x6D, 0x33, 0xD1, 0x8F, 0x0C, 0x52, 0xB0, 0xEE,
    0x32, 0x6C, 0x8E, 0xD0, 0x53, 0x0D, 0xEF, 0xB1, 0xF0, 0xAE, 0x4C, 0x12, 0x91, 0xCF, 0x2D, 0x73,
    0xCA, 0x94, 0x76, 0x28, 0xAB, 0xF5, 0x17, 0x49, 0x08, 0x56, 0xB4, 0xEA, 0x69, 0x37, 0xD5, 0x8B,
    0x57, 0x09, 0xEB, 0xB5, 0x36, 0x68, 0x8A, 0xD4, 0x95, 0xCB, 0x29, 0x77, 0xF4, 0xAA, 0x48, 0x16,
    0xE9, 0xB7, 0x55, 0x0B, 0x88, 0xD6, 0x34, 0x6A, 0x2B, 0x75, 0x97, 0xC9, 0x4A, 0x14, 0xF6, 0xA8,
    0x74, 0x2A, 0xC8, 0x96, 0x15, 0x4B, 0xA9, 0xF7, 0xB6, 0xE8, 0x0A, 0x54, 0xD7, 0x89, 0x6B, 0x35,
};
// clang-format on

namespace
{

using namespace Crc;

constexpr bool isCrc8Table()
{
    for (unsigned byte = 0; byte < 256; ++byte)
    {
        unsigned value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1U) != 0 ? value >> 1 ^ 0x8CU : value >> 1;
        if (value != crc8_table[byte])
            return false;
    }
    return true;
}
static_assert(isCrc8Table());

constexpr Crc8Slices crc8SlicesOfTable()
{
    Crc8Slices slices{};
    for (std::size_t byte = 0; byte < 256; ++byte)
    {
        auto crc = static_cast<unsigned char>(byte);
        for (auto& slice : slices)
            slice[byte] = crc = crc8_table[crc];
    }
    return slices;
}

constexpr Crc8Slices crc8Slices = crc8SlicesOfTable();

std::uint32_t crcByBits(const unsigned char* data, int len, std::uint32_t poly)
{
    std::uint32_t crc = 0;
    for (; len > 0; --len)
    {
        crc ^= std::uint32_t{*data++} << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = ((crc & highestBit) != 0 ? crc ^ poly : crc) << 1;
    }
    return crc;
}

std::uint32_t crcByNibbles(const unsigned char* data, int len, std::uint32_t poly)
{
    std::array<std::uint32_t, 16> table;
    fillTable(table, poly, poly << 1);
    std::uint32_t crc = 0;
    for (; len > 0; --len)
    {
        crc ^= std::uint32_t{*data++} << 24;
        crc = crc << 4 ^ table[crc >> 28];
        crc = crc << 4 ^ table[crc >> 28];
    }
    return crc;
}

std::uint32_t crcBySlices(const unsigned char* data, int len, const Crc16Slices& slices)
{
    std::uint32_t crc = 0;
    for (; len >= 8; len -= 8, data += 8)
        crc = slices[7][crc >> 24 ^ data[0]] ^ slices[6][(crc >> 16 & 0xFF) ^ data[1]] ^
              slices[5][(crc >> 8 & 0xFF) ^ data[2]] ^ slices[4][(crc & 0xFF) ^ data[3]] ^ slices[3][data[4]] ^
              slices[2][data[5]] ^ slices[1][data[6]] ^ slices[0][data[7]];
    for (; len > 0; --len)
        crc = crc << 8 ^ slices[0][crc >> 24 ^ *data++];
    return crc;
}

/// What `Count` bytes, up to as many as there are slices and at least one, make of the register.
template<std::size_t Count>
std::uint32_t crcOfStep(std::uint32_t crc, const unsigned char* data, const NarrowCrc16Slices& slices)
{
    std::uint32_t sum = Count == 1 ? crc << 8 & 0xFFFF : 0;
    for (std::size_t i = 2; i < Count; ++i)
        sum ^= slices[Count - 1 - i][data[i]];
    if constexpr (Count > 1)
        sum ^= slices[Count - 2][(crc & 0xFF) ^ data[1]];
    return sum ^ slices[Count - 1][crc >> 8 ^ data[0]]; // last: only these two look-ups wait for the step before
}

std::uint32_t crcBySlices(const unsigned char* data, int len, const NarrowCrc16Slices& slices)
{
    std::uint32_t crc = 0;
    for (; len >= 16; len -= 16, data += 16)
        crc = crcOfStep<16>(crc, data, slices);
    if ((len & 8) != 0)
    {
        crc = crcOfStep<8>(crc, data, slices);
        data += 8;
    }
    if ((len & 4) != 0)
    {
        crc = crcOfStep<4>(crc, data, slices);
        data += 4;
    }
    for (len &= 3; len > 0; --len)
        crc = crcOfStep<1>(crc, data++, slices);
    return crc << 16;
}

// The two polynomials that nearly every protocol uses, x^16 + x^12 + x^5 + 1 and x^16 + x^15 + x^2 + 1: always there.
constexpr std::uint32_t polynomial1021 = 0x11021U << 15;
constexpr std::uint32_t polynomial8005 = 0x18005U << 15;
constexpr NarrowCrc16Slices slices1021 = narrowSlicesFor(polynomial1021);
constexpr NarrowCrc16Slices slices8005 = narrowSlicesFor(polynomial8005);

CKeptSlices keptSlices;

std::uint32_t crcOf(const unsigned char* data, int len, std::uint32_t poly)
{
    if (len == 1) // is done before a table is found
        return crcByBits(data, len, poly);
    if (poly == polynomial1021)
        return crcBySlices(data, len, slices1021);
    if (poly == polynomial8005)
        return crcBySlices(data, len, slices8005);
    if (const Crc16Slices* const kept = keptSlices.find(poly, len))
        return crcBySlices(data, len, *kept);
    if (len < leastLengthForNibbles)
        return crcByBits(data, len, poly);
    if (len < leastLengthForSlices)
        return crcByNibbles(data, len, poly);
    Crc16Slices own;
    fillSlices(own, poly);
    return crcBySlices(data, len, own);
}

} // namespace

unsigned char crc8(const unsigned char* data, unsigned char len)
{
    constexpr std::size_t step = crc8Slices.size();
    std::size_t left = len;
    unsigned crc = 0;
    for (; left >= step; left -= step, data += step)
    {
        unsigned sum = 0;
        for (std::size_t i = 1; i < step; ++i)
            sum ^= crc8Slices[step - 1 - i][data[i]];
        crc = sum ^ crc8Slices[step - 1][crc ^ data[0]]; // last: only this look-up waits for the step before
    }
    unsigned sum = 0;
    for (; left > 0; --left)
    {
        sum ^= crc8Slices[left - 1][crc ^ *data++];
        crc = 0; // is in the sum
    }
    return static_cast<unsigned char>(sum ^ crc);
}

std::uint16_t simpleCRC16(const unsigned char* data, int len, unsigned int poly)
{
    if (len <= 0 || poly == 0)
        return 0;
    const int freeBits = __builtin_clz(poly);
    const std::uint32_t crc = crcOf(data, len, poly << freeBits);
    // Shifted by up to 32 bits: poly 1 leaves no remainder.
    return static_cast<std::uint16_t>(std::uint64_t{crc} >> (freeBits + 1));
}

} // namespace Kiv
