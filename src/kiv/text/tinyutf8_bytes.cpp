#include <kiv/tinyutf8_bytes.h>

namespace tiny_utf8_detail
{

char32_t decodeMultiByte(const char* bytes, std::size_t length) noexcept
{
    std::uint32_t value = static_cast<unsigned char>(bytes[0]) & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i)
        value = value << 6 | (static_cast<unsigned char>(bytes[i]) & 0x3FU);
    return value;
}

std::size_t encode(char32_t codePoint, char* to) noexcept
{
    const std::size_t length = encodedLength(codePoint);
    std::uint64_t rest = codePoint;
    for (std::size_t i = length; i-- > 1; rest >>= 6)
        to[i] = static_cast<char>(0x80 | (rest & 0x3F));
    to[0] = static_cast<char>(length == 1 ? rest : rest | (0xFF00U >> length & 0xFF));
    return length;
}

} // namespace tiny_utf8_detail
