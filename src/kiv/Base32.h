/// Bytes as Base32 text (RFC 4648, section 6) and back.
#ifndef KIV_BASE32_H
#define KIV_BASE32_H

#include <string>
#include <vector>

#include <kiv/kiv_export.h>

/// The Base32 codec: 5 bytes are 8 characters of "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", most significant bit first.
///
/// Decode() takes the 32 characters of the alphabet and nothing else: no lower-case letters, no blanks and no '='.
/// Leave the padding out when encoding, or strip it before decoding.
///
/// Threads: safe from any thread.
/// Errors: a character outside the alphabet makes the whole result of Decode() empty, as it is for an empty text.
namespace Base32
{

/// The text of `data`, filled up with '=' to a multiple of 8 characters unless `omitPadding` is true; without padding
/// it has the 8/5 of the length, rounded up.
KIV_API std::string Encode(const std::vector<unsigned char>& data, bool omitPadding = false);
KIV_API std::string Encode(const std::string& data, bool omitPadding = false);

/// The bytes of `text`: 5/8 of its length, rounded down. Bits that are left over are dropped unchecked: any length
/// is accepted, and "MZ" is the same byte as "MY".
KIV_API std::string Decode(const std::vector<unsigned char>& text);
KIV_API std::string Decode(const std::string& text);

} // namespace Base32

namespace Kiv
{

namespace Base32 = ::Base32;

} // namespace Kiv

#endif
