/// kiv base32: bytes as Base32 text and back.
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include <kiv/Base32.h>

#include "Command.h"
#include "Input.h"

namespace Tool
{

namespace
{

struct Base32Options
{
    std::string file = "-";
    bool decode = false;
    bool noPadding = false;
};

/// The characters that count: without line breaks, blanks and the padding at the end.
std::string codeCharacters(const std::string& text)
{
    std::string characters;
    for (const char character : text)
        if (std::string_view(" \t\r\n").find(character) == std::string_view::npos)
            characters += character;
    characters.erase(characters.find_last_not_of('=') + 1);
    return characters;
}

/// The library drops left-over bits and stray characters' places unseen; here they are a fault of the input.
std::string decoded(const std::string& name, const std::string& text)
{
    const std::string characters = codeCharacters(text);
    const std::size_t stray = characters.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ234567");
    if (stray != std::string::npos)
        throw badInput(name + ": character " + std::to_string(stray + 1) + " of the code is not A to Z or 2 to 7");
    std::string bytes = Kiv::Base32::Decode(characters);
    if (Kiv::Base32::Encode(bytes, true) != characters)
        throw badInput(name + ": the code is cut off or damaged at its end");
    return bytes;
}

void convert(const Base32Options& options)
{
    const std::string input = readInput(options.file);
    if (options.decode)
        print(decoded(inputName(options.file), input));
    else
        printLine(Kiv::Base32::Encode(input, options.noPadding));
}

} // namespace

void addBase32Command(CLI::App& program)
{
    auto options = std::make_shared<Base32Options>();
    CLI::App* base32 = program.add_subcommand("base32", "Encode bytes as Base32 text, or decode it");
    base32->add_option("FILE", options->file, "What to read; standard input by default and for -");
    CLI::Option* decode =
        base32->add_flag("-d,--decode", options->decode, "Decode; blanks and line breaks do not count");
    base32->add_flag("--no-padding", options->noPadding, "Encode without = at the end")->excludes(decode);
    base32->callback([options] { convert(*options); });
}

} // namespace Tool
