/// A hash over lines of text, for tests that notice any change of a long table.
#ifndef KIV_TESTS_TEXTHASH_H
#define KIV_TESTS_TEXTHASH_H

#include <cstdint>
#include <string>

/// FNV-1a with 64 bits over each line and its line break.
class TextHash
{
public:
    void addLine(const std::string& line)
    {
        for (const char c : line + "\n")
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
    }

    std::uint64_t value() const { return hash; }

private:
    std::uint64_t hash = 0xCBF29CE484222325U;
};

#endif
