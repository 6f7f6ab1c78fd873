/// Tables that let a CRC be taken of several bytes in one step; private to the checksums.
#ifndef KIV_CRCSLICES_H
#define KIV_CRCSLICES_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace Kiv::Crc
{

/// Slice n holds the CRC of each byte followed by n zero bytes. The CRC is linear, so that of several bytes is the XOR
/// of one entry for each: look-ups that do not wait for each other.
template<class Register, std::size_t Count>
using Slices = std::array<std::array<Register, 256>, Count>;

using Crc8Slices = Slices<unsigned char, 16>;
using Crc16Slices = Slices<std::uint32_t, 8>;        ///< for a register of up to 32 bits
using NarrowCrc16Slices = Slices<std::uint16_t, 16>; ///< for one of 16 bits

// The register of simpleCRC16 is kept at the high end of 32 bits, as is the polynomial: its highest term is in bit 31.

constexpr std::uint32_t highestBit = 0x80000000U;

/// Fills `table` with what the bits of an index do to the rest of the register when they leave it at its high end. The
/// lowest bit of an index does `power`; what the first bit beyond the index would do comes back.
template<class Table>
constexpr std::uint32_t fillTable(Table& table, std::uint32_t poly, std::uint32_t power)
{
    table[0] = 0;
    for (std::size_t bit = 1; bit < table.size(); bit <<= 1)
    {
        // The CRC is linear: an index's entry is the XOR of the entries of its bits.
        for (std::size_t below = 0; below < bit; ++below)
            table[bit + below] = table[below] ^ power;
        power = (power & highestBit) != 0 ? (power ^ poly) << 1 : power << 1;
    }
    return power;
}

constexpr void fillSlices(Crc16Slices& slices, std::uint32_t poly)
{
    std::uint32_t power = poly << 1;
    for (auto& slice : slices)
        power = fillTable(slice, poly, power);
}

/// For a polynomial of 16 bits beside its highest term: the lower half of the register would stay empty.
constexpr NarrowCrc16Slices narrowSlicesFor(std::uint32_t poly)
{
    NarrowCrc16Slices slices{};
    std::uint32_t power = poly << 1;
    for (auto& slice : slices)
    {
        std::array<std::uint32_t, 256> wide{};
        power = fillTable(wide, poly, power);
        for (std::size_t byte = 0; byte < wide.size(); ++byte)
            slice[byte] = static_cast<std::uint16_t>(wide[byte] >> 16);
    }
    return slices;
}

} // namespace Kiv::Crc

#endif
