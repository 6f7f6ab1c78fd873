// Strings by code point beside QString, ICU's UnicodeString and utf8cpp's functions on a std::string, for 24 bytes of
// ASCII, 10,000 code points of ASCII, and 10,000 of which one in twenty takes several bytes.
#include <kiv/tinyutf8.h>

#include <iterator>
#include <string>
#include <vector>

#include <QString>
#include <unicode/unistr.h>
#include <utf8.h>

#include "allocations.h"

namespace
{

struct Kiv8
{
    using String = utf8_string;
    static String from(const char* text) { return String(text); }
    static char32_t at(const String& string, std::size_t index) { return string[index]; }
    static void push(String& string, char32_t codePoint) { string.push_back(codePoint); }
    static void append(String& string, const String& piece) { string.append(piece); }
    static std::size_t findUnit(const String& string, const String& text) { return string.raw_find(text); }
    static std::size_t find(const String& string, const String& text) { return string.find(text); }
    static std::size_t find(const String& string, char32_t codePoint) { return string.find(codePoint); }
};

struct Qt16
{
    using String = QString;
    static String from(const char* text) { return QString::fromUtf8(text); }

    static char32_t at(const String& string, std::size_t index)
    {
        const QChar* unit = string.constData();
        for (; index > 0; --index)
            unit += unit->isHighSurrogate() ? 2 : 1;
        return unit->isHighSurrogate() ? QChar::surrogateToUcs4(unit[0], unit[1]) : unit->unicode();
    }

    static void push(String& string, char32_t codePoint)
    {
        if (codePoint >= 0x10000)
            string.append(QChar(QChar::highSurrogate(codePoint))).append(QChar(QChar::lowSurrogate(codePoint)));
        else
            string.append(QChar(static_cast<ushort>(codePoint)));
    }

    static void append(String& string, const String& piece) { string.append(piece); }

    static std::size_t findUnit(const String& string, const String& text)
    {
        return static_cast<std::size_t>(string.indexOf(text));
    }

    static std::size_t find(const String& string, const String& text)
    {
        return codePoints(string, string.indexOf(text));
    }

    static std::size_t find(const String& string, char32_t codePoint)
    {
        return codePoints(string, string.indexOf(QChar(static_cast<ushort>(codePoint))));
    }

    static std::size_t codePoints(const String& string, int units)
    {
        int pairs = 0;
        for (int i = 0; i < units; ++i)
            pairs += string.constData()[i].isHighSurrogate();
        return static_cast<std::size_t>(units - pairs);
    }
};

struct Icu16
{
    using String = icu::UnicodeString;
    static String from(const char* text) { return String::fromUTF8(text); }

    static char32_t at(const String& string, std::size_t index)
    {
        return static_cast<char32_t>(string.char32At(string.moveIndex32(0, static_cast<int>(index))));
    }

    static void push(String& string, char32_t codePoint) { string.append(static_cast<UChar32>(codePoint)); }
    static void append(String& string, const String& piece) { string.append(piece); }

    static std::size_t findUnit(const String& string, const String& text)
    {
        return static_cast<std::size_t>(string.indexOf(text));
    }

    static std::size_t find(const String& string, const String& text)
    {
        return static_cast<std::size_t>(string.countChar32(0, string.indexOf(text)));
    }

    static std::size_t find(const String& string, char32_t codePoint)
    {
        return static_cast<std::size_t>(string.countChar32(0, string.indexOf(static_cast<UChar32>(codePoint))));
    }
};

/// The functions that check nothing, which are the faster ones.
struct Utf8Cpp
{
    using String = std::string;
    static String from(const char* text) { return String(text); }

    static char32_t at(const String& string, std::size_t index)
    {
        const char* place = string.data();
        utf8::unchecked::advance(place, index);
        return utf8::unchecked::peek_next(place);
    }

    static void push(String& string, char32_t codePoint)
    {
        utf8::unchecked::append(codePoint, std::back_inserter(string));
    }

    static void append(String& string, const String& piece) { string.append(piece); }
    static std::size_t findUnit(const String& string, const String& text) { return string.find(text); }
    static std::size_t find(const String& string, const String& text) { return codePoints(string, string.find(text)); }

    static std::size_t find(const String& string, char32_t codePoint)
    {
        String text;
        push(text, codePoint);
        return find(string, text);
    }

    static std::size_t codePoints(const String& string, std::size_t bytes)
    {
        return static_cast<std::size_t>(utf8::unchecked::distance(string.data(), string.data() + bytes));
    }
};

std::uint32_t nextRandom()
{
    static std::uint32_t value = 1;
    value = value * 1664525U + 1013904223U;
    return value >> 8;
}

struct Text
{
    const char* name;
    std::u32string codePoints;
    std::string bytes;

    Text(const char* label, std::size_t count, unsigned multiByteIn100) : name(label)
    {
        static constexpr char32_t others[] = {U'\u00E9', U'\u00DF', U'\u20AC', U'\u2192', U'\U0001F600'};
        for (std::size_t i = 0; i < count; ++i)
            codePoints += nextRandom() % 100 < multiByteIn100 ? others[nextRandom() % 5] : U'a' + nextRandom() % 24;
        codePoints.replace(count - 6, 6, U"needle"); // 'y' and 'z' stand nowhere, and this word only here
        codePoints[count - 1] = U'z';
        bytes = utf8_string(codePoints.data(), codePoints.size()).cpp_str();
    }
};

const Text texts[] = {{"24 ASCII", 24, 0}, {"10000 ASCII", 10000, 0}, {"10000 mixed", 10000, 5}};

/// Makes a string of zero-terminated bytes, copies it, and destroys both.
template<class Who>
void constructAndCopy(benchmark::State& state, const Text& text)
{
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        auto string = Who::from(text.bytes.c_str());
        benchmark::DoNotOptimize(string);
        auto copy = string;
        benchmark::DoNotOptimize(copy);
    }
}

/// Reads the code point at a random index.
template<class Who>
void index(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    std::vector<std::size_t> indexes(4096);
    for (std::size_t& each : indexes)
        each = nextRandom() % text.codePoints.size();
    std::size_t i = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::at(string, indexes[++i % 4096]));
}

/// Builds the whole text, code point by code point.
template<class Who>
void appendCodePoints(benchmark::State& state, const Text& text)
{
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        typename Who::String string;
        for (const char32_t codePoint : text.codePoints)
            Who::push(string, codePoint);
        benchmark::DoNotOptimize(string);
    }
}

/// Builds the whole text of pieces of up to 12 code points.
template<class Who>
void appendPieces(benchmark::State& state, const Text& text)
{
    std::vector<typename Who::String> pieces;
    for (std::size_t i = 0; i < text.codePoints.size(); i += 12)
        pieces.push_back(Who::from(utf8_string(text.codePoints.substr(i, 12).c_str()).c_str()));
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        typename Who::String string;
        for (const auto& piece : pieces)
            Who::append(string, piece);
        benchmark::DoNotOptimize(string);
    }
}

/// Finds the last word of the text, by code point and in the units that each type stores.
template<class Who>
void findText(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    const auto word = Who::from("needlz");
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::find(string, word));
}

template<class Who>
void findTextInUnits(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    const auto word = Who::from("needlz");
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::findUnit(string, word));
}

/// Finds the last code point of the text.
template<class Who>
void findCodePoint(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::find(string, U'z'));
}

template<class Who>
void registerAll(const char* who)
{
    for (const Text& text : texts)
    {
        const auto add = [&](const char* what, void (*run)(benchmark::State&, const Text&)) {
            benchmark::RegisterBenchmark((what + std::string(", ") + text.name + "/" + who).c_str(),
                                         [run, &text](benchmark::State& state) { run(state, text); });
        };
        add("construct and copy", constructAndCopy<Who>);
        add("index", index<Who>);
        add("append code points", appendCodePoints<Who>);
        add("append pieces", appendPieces<Who>);
        add("find text", findText<Who>);
        add("find text in units", findTextInUnits<Who>);
        add("find code point", findCodePoint<Who>);
    }
}

const bool isRegistered = [] {
    registerAll<Kiv8>("kiv");
    registerAll<Qt16>("QString");
    registerAll<Icu16>("ICU UnicodeString");
    registerAll<Utf8Cpp>("utf8cpp");
    return true;
}();

} // namespace
