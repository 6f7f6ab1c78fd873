// Foreign bytes as text to decode and as data to encode.
#include <kiv/Base32.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "require.h"

namespace
{

/// What decoding gave must encode to the same text again, but for the bits that were left over.
void decodeAndBack(const std::string& text)
{
    const std::string data = Base32::Decode(text);
    const std::size_t wholeCharacters = data.size() * 8 / 5;
    require(data.empty() || data.size() == text.size() * 5 / 8);
    require(Base32::Encode(data, true).compare(0, wholeCharacters, text, 0, wholeCharacters) == 0);
}

void encodeAndBack(const std::string& data)
{
    const std::string unpadded = Base32::Encode(data, true);
    const std::string padded = Base32::Encode(data);
    require(padded.size() % 8 == 0 && padded.compare(0, unpadded.size(), unpadded) == 0);
    require(Base32::Decode(unpadded) == data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string input(bytes, bytes + size);
    decodeAndBack(input);
    encodeAndBack(input);
    return 0;
}
