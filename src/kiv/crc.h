/// Checksums for byte protocols.
#ifndef KIV_CRC_H
#define KIV_CRC_H

#include <cstdint>

#include <kiv/kiv_export.h>

namespace Kiv
{

/// The CRC-8 of each single byte: x^8 + x^5 + x^4 + 1, least significant bit first (reflected form 0x8C), as one-wire
/// devices use it.
extern KIV_API const unsigned char crc8_table[256];

/// The CRC-8 of `len` bytes with the polynomial of crc8_table, from 0 and without final XOR. With `len` 0 the result is
/// 0 and `data` may be null. A record followed by its CRC gives 0.
///
/// Threads: safe from any thread.
/// Errors: none.
KIV_API unsigned char crc8(const unsigned char* data, unsigned char len);

/// The CRC of `len` bytes with a polynomial of the caller's choice: most significant bit first, from 0, without
/// reflection or final XOR.
///
/// `poly` is written with its highest term, whose place is the degree: 0x11021 and 0x18005 give 16-bit CRCs, 0x107
/// gives an 8-bit one, and 0x1021 is a 12-bit one. Of a degree above 16 the low 16 bits of the CRC come back; at degree
/// 31 the polynomial is not normalised, and bits 16 to 1 of the register come back. A `poly` of 0 gives 0, and so does
/// a `len` of 0 or less, with which `data` may be null.
///
/// Tables for 0x11021 and 0x18005 are part of the library. Those for the first four others that come with 64 bytes or
/// more, or twice in a row, are kept until the process ends: 32 KiB of static memory for all threads. With any other
/// one, long messages take 8 KiB of the stack and short ones more time. Nothing is allocated or locked.
///
/// Threads: safe from any thread.
/// Errors: none.
KIV_API std::uint16_t simpleCRC16(const unsigned char* data, int len, unsigned int poly);

} // namespace Kiv

#endif
