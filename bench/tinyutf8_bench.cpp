// Strings by code point beside QString, ICU's UnicodeString and utf8cpp's functions on a std::string, for 24 bytes of
// ASCII, 10,000 code points of ASCII, and 10,000 of which one in twenty takes several bytes.
#include <kiv/tinyutf8.h>

#include <iterator>
#include <map>
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
    static void pop(String& string) { string.pop_back(); }
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

    static void pop(String& string) { string.chop(qAsConst(string).back().isLowSurrogate() ? 2 : 1); }
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

/// By unit instead of by code point: right only for texts without surrogates, and the most that QString can do.
struct Qt16Units : Qt16
{
    static char32_t at(const String& string, std::size_t index) { return string.at(static_cast<int>(index)).unicode(); }
    static std::size_t find(const String& string, const String& text) { return findUnit(string, text); }

    static std::size_t find(const String& string, char32_t codePoint)
    {
        return static_cast<std::size_t>(string.indexOf(QChar(static_cast<ushort>(codePoint))));
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
    static void pop(String& string) { string.truncate(string.moveIndex32(string.length(), -1)); }
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

    static void pop(String& string)
    {
        const char* end = string.data() + string.size();
        utf8::unchecked::prior(end);
        string.resize(static_cast<std::size_t>(end - string.data()));
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

/// The same object, of which the optimiser cannot know that nobody has changed it.
template<class T>
T& hidden(T& object)
{
    T* address = &object;
    benchmark::DoNotOptimize(address);
    benchmark::ClobberMemory();
    return *address;
}

/// Makes a string of zero-terminated bytes, copies it, and destroys both.
template<class Who>
void constructAndCopy(benchmark::State& state, const Text& text)
{
    const CAllocationCounter counter(state);
    for (auto _ : state)
    {
        auto string = Who::from(text.bytes.c_str());
        auto copy = hidden(string);
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
        benchmark::DoNotOptimize(Who::at(hidden(string), indexes[++i % 4096]));
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

/// Appends a code point, one of several bytes where the text has such, and takes it away again.
template<class Who>
void pushAndPop(benchmark::State& state, const Text& text)
{
    auto string = Who::from(text.bytes.c_str());
    const CAllocationCounter counter(state);
    std::size_t i = 0;
    for (auto _ : state)
    {
        Who::push(hidden(string), text.codePoints[i]);
        Who::pop(hidden(string));
        i = i + 1 < text.codePoints.size() ? i + 1 : 0;
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
        benchmark::DoNotOptimize(Who::find(hidden(string), hidden(word)));
}

template<class Who>
void findTextInUnits(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    const auto word = Who::from("needlz");
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::findUnit(hidden(string), hidden(word)));
}

/// Finds the last code point of the text.
template<class Who>
void findCodePoint(benchmark::State& state, const Text& text)
{
    const auto string = Who::from(text.bytes.c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(Who::find(hidden(string), U'z'));
}

void add(const char* what, void (*run)(benchmark::State&, const Text&), const Text& text, const char* who)
{
    benchmark::RegisterBenchmark((what + std::string(", ") + text.name + "/" + who).c_str(),
                                 [run, &text](benchmark::State& state) { run(state, text); });
}

template<class Who>
void registerAll(const char* who)
{
    for (const Text& text : texts)
    {
        add("construct and copy", constructAndCopy<Who>, text, who);
        add("index", index<Who>, text, who);
        add("append code points", appendCodePoints<Who>, text, who);
        add("push back and pop back", pushAndPop<Who>, text, who);
        add("append pieces", appendPieces<Who>, text, who);
        add("find text", findText<Who>, text, who);
        add("find text in units", findTextInUnits<Who>, text, who);
        add("find code point", findCodePoint<Who>, text, who);
    }
}

/// A text of so many bytes, of which one code point in twenty takes several, made once.
const Text& longText(std::size_t bytes)
{
    static std::map<std::size_t, Text> made;
    return made.try_emplace(bytes, "", bytes * 100 / 109, 5).first->second;
}

void growingIndex(benchmark::State& state) { index<Kiv8>(state, longText(static_cast<std::size_t>(state.range(0)))); }
BENCHMARK(growingIndex)->Name("index at random/kiv")->ArgName("bytes")->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);

/// Appends to the end of a long text, which keeps growing.
void growingPush(benchmark::State& state)
{
    const Text& text = longText(static_cast<std::size_t>(state.range(0)));
    utf8_string string(text.bytes);
    std::size_t i = 0;
    for (auto _ : state)
    {
        string.push_back(text.codePoints[i]);
        i = i + 1 < text.codePoints.size() ? i + 1 : 0;
    }
}
BENCHMARK(growingPush)->Name("push back/kiv")->ArgName("bytes")->Arg(100'000)->Arg(1'000'000)->Arg(10'000'000);

const bool isRegistered = [] {
    registerAll<Kiv8>("kiv");
    registerAll<Qt16>("QString");
    for (const Text& text : texts)
    {
        if (text.bytes.size() != text.codePoints.size())
            continue; // would be another place
        add("index", index<Qt16Units>, text, "QString by unit");
        add("find code point", findCodePoint<Qt16Units>, text, "QString by unit");
    }
    registerAll<Icu16>("ICU UnicodeString");
    registerAll<Utf8Cpp>("utf8cpp");
    return true;
}();

} // namespace
