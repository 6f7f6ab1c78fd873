/// A locale with a decimal comma, for tests of numbers that must not follow the locale.
#ifndef KIV_TESTS_DECIMALCOMMA_H
#define KIV_TESTS_DECIMALCOMMA_H

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "support/TemporaryDirectory.h"

/// Makes a locale in which numbers have a decimal comma, and sets it for the process until the end of the test.
class DecimalComma
{
public:
    DecimalComma()
    {
        std::ofstream(directory.path() / "source")
            << "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\ngrouping 3;3\nEND LC_NUMERIC\n";
        std::ofstream charmap(directory.path() / "charmap");
        charmap << "<code_set_name> ASCII\n<escape_char> /\nCHARMAP\n";
        for (unsigned code = 0; code < 128; ++code)
        {
            std::array<char, 32> line{};
            std::snprintf(line.data(), line.size(), "<U%04X> /x%02x NAME\n", code, code);
            charmap << line.data();
        }
        charmap << "END CHARMAP\n" << std::flush;
        const std::string make =
            "cd " + directory.path().string() + " && localedef -c -i ./source -f ./charmap ./comma >log 2>&1";
        (void)!std::system(make.c_str()); // what counts is whether the locale can be set
        setenv("LOCPATH", directory.path().c_str(), 1);
        isSet = std::setlocale(LC_ALL, "comma") != nullptr && std::localeconv()->decimal_point == std::string(",");
    }
    ~DecimalComma()
    {
        std::setlocale(LC_ALL, "C");
        unsetenv("LOCPATH");
    }
    DecimalComma(const DecimalComma&) = delete;
    DecimalComma& operator=(const DecimalComma&) = delete;

    bool isSet = false;

private:
    const TemporaryDirectory directory;
};

#endif
