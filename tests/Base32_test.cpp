#include <kiv/Base32.h>

#include <random>

#include <gtest/gtest.h>

namespace
{

using Bytes = std::vector<unsigned char>;

const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567";

/// A bit at a time, padding left out.
std::string slowlyEncoded(const std::string& data)
{
    std::string text;
    unsigned group = 0;
    std::size_t bits = 0;
    for (; bits < data.size() * 8; ++bits)
    {
        const unsigned byte = static_cast<unsigned char>(data[bits / 8]);
        group = group << 1 | (byte >> (7 - bits % 8) & 1);
        if (bits % 5 == 4)
            text += alphabet[group & 31];
    }
    if (bits % 5 != 0)
        text += alphabet[group << (5 - bits % 5) & 31];
    return text;
}

std::string slowlyDecoded(const std::string& text)
{
    std::string data;
    unsigned byte = 0;
    for (std::size_t bits = 0; bits < text.size() * 5; ++bits)
    {
        const std::size_t value = alphabet.find(text[bits / 5]);
        if (value == std::string::npos)
            return "";
        byte = byte << 1 | (value >> (4 - bits % 5) & 1U);
        if (bits % 8 == 7)
            data += static_cast<char>(byte);
    }
    return data;
}

std::string padded(std::string text)
{
    text.append((8 - text.size() % 8) % 8, '=');
    return text;
}

void expectEncodesAndDecodes(const std::string& data)
{
    const std::string text = slowlyEncoded(data);
    ASSERT_EQ(Base32::Encode(data, true), text) << data.size();
    ASSERT_EQ(Base32::Encode(data), padded(text)) << data.size();
    ASSERT_EQ(Base32::Decode(text), data) << data.size();
}

} // namespace

TEST(Base32, MatchesTheStandardsVectors)
{
    const struct
    {
        std::string data;
        std::string text;
    } rows[] = {{"", ""},
                {"f", "MY======"},
                {"fo", "MZXQ===="},
                {"foo", "MZXW6==="},
                {"foob", "MZXW6YQ="},
                {"fooba", "MZXW6YTB"},
                {"foobar", "MZXW6YTBOI======"}};
    for (const auto& row : rows)
    {
        const std::string unpadded = row.text.substr(0, row.text.find('='));
        EXPECT_EQ(Base32::Encode(row.data), row.text);
        EXPECT_EQ(Base32::Encode(Bytes(row.data.begin(), row.data.end()), true), unpadded);
        EXPECT_EQ(Kiv::Base32::Decode(Bytes(unpadded.begin(), unpadded.end())), row.data);
        EXPECT_EQ(Base32::Decode(row.text), row.text == unpadded ? row.data : "");
    }
}

TEST(Base32, EveryInputOfUpToTwoBytesAndRandomLongerOnes)
{
    for (unsigned value = 0; value < 0x10000; ++value)
        expectEncodesAndDecodes({static_cast<char>(value >> 8), static_cast<char>(value)});
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 200; ++size)
    {
        for (int round = 0; round < 20; ++round)
        {
            std::string data(size, '\0');
            for (char& byte : data)
                byte = static_cast<char>(random());
            expectEncodesAndDecodes(data);
        }
    }
}

TEST(Base32, LeftOverBitsAreDroppedAtEveryLength)
{
    std::mt19937 random(2);
    for (std::size_t size = 0; size < 70; ++size)
    {
        std::string text;
        while (text.size() < size)
            text += alphabet[random() & 31];
        EXPECT_EQ(Base32::Decode(text), slowlyDecoded(text)) << text;
    }
    EXPECT_EQ(Base32::Decode("MZ"), "f");
}

TEST(Base32, AnyOtherByteAnywhereMakesTheResultEmpty)
{
    for (std::size_t size : {1U, 7U, 8U, 15U, 16U, 17U, 33U, 40U})
    {
        for (std::size_t at = 0; at < size; ++at)
        {
            for (unsigned byte = 0; byte < 256; ++byte)
            {
                std::string text(size, 'Q');
                text[at] = static_cast<char>(byte);
                EXPECT_EQ(Base32::Decode(text), slowlyDecoded(text)) << size << ' ' << at << ' ' << byte;
            }
        }
    }
}
