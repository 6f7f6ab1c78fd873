/// kiv crc: the library's checksums.
#include <algorithm>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include <kiv/crc.h>

#include "Command.h"
#include "Input.h"
#include "Json.h"

namespace Tool
{

namespace
{

constexpr int highestDegree = 16;

struct CrcOptions
{
    std::string file = "-";
    std::string hex;
    std::string polynomial;
    bool isHexGiven = false;
    bool json = false;
};

/// As Kiv::crc8(), which takes 255 bytes at most.
unsigned crc8Of(const std::string& bytes)
{
    unsigned char crc = 0;
    for (const char byte : bytes)
        crc = Kiv::crc8_table[crc ^ static_cast<unsigned char>(byte)];
    return crc;
}

int degreeOf(unsigned polynomial)
{
    int degree = -1;
    for (; polynomial != 0; polynomial >>= 1)
        ++degree;
    return degree;
}

unsigned parsePolynomial(const std::string& text)
{
    const auto number = parseNumber(text);
    if (!number || *number < 2 || *number >= 2ull << highestDegree)
        throw badInput("no polynomial of degree 1 to 16, written with its highest term: " + text);
    return static_cast<unsigned>(*number);
}

void printCrc(const CrcOptions& options)
{
    constexpr int degreeOfCrc8 = 8;
    const unsigned polynomial = options.polynomial.empty() ? 0 : parsePolynomial(options.polynomial);
    const std::string bytes = options.isHexGiven ? bytesOfHex(options.hex) : readInput(options.file);
    if (bytes.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        throw badInput("more than 2 GB of input");
    const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
    const unsigned crc =
        polynomial == 0 ? crc8Of(bytes) : Kiv::simpleCRC16(data, static_cast<int>(bytes.size()), polynomial);
    const int digits = std::clamp(((polynomial == 0 ? degreeOfCrc8 : degreeOf(polynomial)) + 3) / 4, 1, 8);
    char text[16];
    std::snprintf(text, sizeof text, "0x%0*X", digits, crc);
    if (!options.json)
        return printLine(text);
    CJsonObject object;
    object.addNumber("crc", crc).addText("hex", text);
    printLine(object.addNumber("bytes", static_cast<long long>(bytes.size())).text());
}

} // namespace

void addCrcCommand(CLI::App& program)
{
    auto options = std::make_shared<CrcOptions>();
    CLI::App* crc = program.add_subcommand("crc", "Compute the checksum of a file or of bytes");
    CLI::Option* file = crc->add_option("FILE", options->file, "What to read; standard input by default and for -");
    CLI::Option* hex = crc->add_option("--hex", options->hex, "Bytes in hexadecimal instead of a file");
    hex->type_name("BYTES")->excludes(file);
    crc->add_option("--poly", options->polynomial, "A CRC with this polynomial instead")
        ->type_name("POLYNOMIAL")
        ->check(notEmpty());
    addJson(*crc, options->json);
    crc->footer("By default the CRC-8 of one-wire devices (0x8C, reflected). With --poly a CRC from 0,\n"
                "most significant bit first, not reflected, no final XOR; the polynomial has its\n"
                "highest term: 0x11021 is the 16-bit CRC of XMODEM.");
    crc->callback([options, hex] {
        options->isHexGiven = hex->count() > 0;
        printCrc(*options);
    });
}

} // namespace Tool
