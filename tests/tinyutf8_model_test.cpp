// Random operations on strings, beside a model that has nothing in common with them.
#include <kiv/tinyutf8.h>

#include <random>
#include <string>

#include <gtest/gtest.h>

#include "support/Utf8Model.h"

using tiny_utf8_detail::read_bytes_tag;

namespace
{

// Instrumented code is an order of magnitude slower, unoptimised code nearly so: both look for other faults than the
// rare combination, which the full number in optimised code is for.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || !defined(__OPTIMIZE__)
constexpr int modelOperations = 50'000;
#else
constexpr int modelOperations = 1'000'000;
#endif

std::string encoded(const std::u32string& text) { return utf8_string(text.data(), text.size()).cpp_str(); }

/// Random texts and places.
class CDice
{
public:
    explicit CDice(unsigned seed) : engine(seed) {}

    std::size_t upTo(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit)(engine); }
    bool oneIn(std::size_t n) { return upTo(n - 1) == 0; }

    char32_t codePoint()
    {
        static constexpr char32_t first[] = {0x80, 0x800, 0x10000, 0x200000, 0x4000000, 0x80000000};
        return oneIn(rareness) ? first[oneIn(8) ? upTo(5) : upTo(2)] + static_cast<char32_t>(upTo(0x77F))
                               : static_cast<char32_t>(' ' + upTo(0x5E));
    }

    std::u32string text(std::size_t limit)
    {
        std::u32string result(upTo(limit), U' ');
        for (char32_t& c : result)
            c = codePoint();
        return result;
    }

    std::string bytes(std::size_t limit)
    {
        static constexpr unsigned char some[] = {0x41, 0x80, 0xBF, 0xC3, 0xE2, 0xF0,
                                                 0xF8, 0xFC, 0xFE, 0xFF, 0x00, 0x7A};
        std::string result(upTo(limit), ' ');
        for (char& c : result)
            c = oneIn(rareness) ? static_cast<char>(some[upTo(sizeof some - 1)]) : 'a';
        return result;
    }

    /// One of so many code points takes several bytes, or one of so many bytes is not an 'a'.
    std::size_t rareness = 2;

private:
    std::mt19937 engine;
};

/// A utf8_string and a std::u32string to which the same happens.
class CModel
{
public:
    CModel(unsigned seed, std::size_t sizeLimit) : dice(seed), limit(sizeLimit) {}

    void step()
    {
        if (dice.oneIn(500))
            dice.rareness = std::size_t{1} << dice.upTo(6);
        if (expected.size() > limit)
            erase(expected.size() / 2 + dice.upTo(expected.size() / 4));
        switch (dice.upTo(15))
        {
        case 0:
        case 1:
            append();
            break;
        case 2:
        case 3:
        case 4:
            pushBack();
            break;
        case 5:
        case 6:
            insert();
            break;
        case 7:
        case 8:
            erase(dice.upTo(20));
            break;
        case 9:
        case 10:
            replace();
            break;
        case 11:
            assignOne();
            break;
        case 12:
            popBack();
            break;
        case 13:
            copyOrMove();
            break;
        case 14:
            findTexts();
            break;
        default:
            findSets();
            break;
        }
    }

    std::string fault() const
    {
        if (string.length() != expected.size() || !std::equal(string.begin(), string.end(), expected.begin()))
            return "other code points than " + encoded(expected);
        return "";
    }

    const utf8_string& tested() const { return string; }
    const std::u32string& model() const { return expected; }

private:
    std::size_t place() { return dice.upTo(expected.size()); }
    std::size_t rawPlace(std::size_t index) { return encoded(expected.substr(0, index)).size(); }
    static utf8_string utf8(const std::u32string& text) { return utf8_string(text.c_str()); }

    void append()
    {
        const std::u32string text = dice.text(dice.oneIn(20) ? limit : 40);
        string += utf8(text);
        expected += text;
    }

    void pushBack()
    {
        const char32_t c = dice.codePoint();
        string.push_back(c);
        expected.push_back(c);
    }

    void popBack()
    {
        string.pop_back();
        if (!expected.empty())
            expected.pop_back();
    }

    void insert()
    {
        const std::u32string text = dice.text(20);
        const std::size_t index = place();
        if (limit < 1000 && dice.oneIn(2))
            string.raw_insert(rawPlace(index), utf8(text));
        else
            string.insert(index, utf8(text));
        expected.insert(index, text);
    }

    void erase(std::size_t count)
    {
        const std::size_t index = dice.upTo(expected.size() - std::min(count, expected.size()));
        if (limit < 1000 && dice.oneIn(2))
            string.raw_erase(rawPlace(index), rawPlace(index + count) - rawPlace(index));
        else
            string.erase(index, count);
        expected.erase(index, count);
    }

    void replace()
    {
        const std::u32string text = dice.text(20);
        const std::size_t index = place();
        const std::size_t count = dice.upTo(20);
        if (dice.oneIn(2))
            string.replace(std::next(string.cbegin(), std::ptrdiff_t(index)),
                           std::next(string.cbegin(), std::ptrdiff_t(std::min(index + count, expected.size()))),
                           utf8(text));
        else
            string.replace(index, count, utf8(text));
        expected.replace(index, count, text);
    }

    void assignOne()
    {
        if (expected.empty())
            return;
        const std::size_t index = dice.upTo(expected.size() - 1);
        string[index] = expected[index] = dice.codePoint();
    }

    void copyOrMove()
    {
        utf8_string other = dice.oneIn(2) ? string : string.substr(0);
        if (dice.oneIn(2))
            other.shrink_to_fit();
        else
            other.reserve(dice.upTo(2 * limit));
        if (dice.oneIn(2))
            string = other;
        else
            string = std::move(other);
    }

    void findTexts()
    {
        const std::u32string text = expected.substr(place(), dice.upTo(3));
        const std::size_t from = place();
        EXPECT_EQ(string.find(utf8(text), from), expected.find(text, from));
        EXPECT_EQ(string.rfind(utf8(text), from), expected.rfind(text, from));
        const char32_t c = dice.codePoint();
        EXPECT_EQ(string.find(c, from), expected.find(c, from));
        EXPECT_EQ(string.rfind(c, from), expected.rfind(c, from));
    }

    void findSets()
    {
        const std::u32string set = dice.text(10);
        const std::size_t from = place();
        EXPECT_EQ(string.find_first_of(set.c_str(), from), expected.find_first_of(set, from));
        EXPECT_EQ(string.find_last_of(set.c_str(), from), expected.find_last_of(set, from));
        EXPECT_EQ(string.find_first_not_of(set.c_str(), from), expected.find_first_not_of(set, from));
        EXPECT_EQ(string.find_last_not_of(set.c_str(), from), expected.find_last_not_of(set, from));
    }

    CDice dice;
    std::size_t limit;
    utf8_string string;
    std::u32string expected;
};

/// A short way to the bytes that are not well-formed UTF-8.
utf8_string raw(const std::string& bytes) { return utf8_string(bytes.data(), bytes.size(), read_bytes_tag()); }

/// Runs a share of the model's operations on strings of up to about `limit` code points.
void runModel(std::size_t limit, int operations)
{
    CModel model(1, limit);
    for (int i = 0; i < operations && !testing::Test::HasFailure(); ++i)
    {
        model.step();
        ASSERT_EQ(model.fault(), "") << "operation " << i;
        if (i % 16 != 0)
            continue;
        ASSERT_EQ(faultOf(model.tested(), encoded(model.model())), "") << "operation " << i;
    }
    ASSERT_EQ(faultOfViews(model.tested(), encoded(model.model())), "");
}

} // namespace

TEST(Utf8String, ModelAgreesOnShortStrings) { runModel(60, modelOperations * 60 / 100); }

TEST(Utf8String, ModelAgreesAroundTheFirstWidthLimit) { runModel(350, modelOperations * 39 / 100); }

TEST(Utf8String, ModelAgreesAroundTheSecondWidthLimit) { runModel(90'000, modelOperations / 100); }

TEST(Utf8String, CountsAndTableFollowEditsOfMalformedBytes)
{
    CDice dice(2);
    utf8_string string;
    std::string expected;
    for (int i = 0; i < modelOperations / 20; ++i)
    {
        if (i % 1000 == 0)
            dice.rareness = std::size_t{1} << dice.upTo(7);
        const std::size_t index = dice.upTo(expected.size());
        const std::size_t count = dice.upTo(expected.size() > 400 ? 300 : 12);
        const std::string bytes = dice.bytes(dice.oneIn(10) ? 150 : 12);
        string.raw_replace(index, count, raw(bytes));
        expected.replace(index, count, bytes);
        ASSERT_EQ(faultOf(string, expected), "") << "operation " << i;
        if (i % 16 == 0)
        {
            ASSERT_EQ(faultOfViews(string, expected), "") << "operation " << i;
        }
    }
}

TEST(Utf8String, PiecesOfAnyBytesAreCountedBehindThinText)
{
    CDice dice(3);
    utf8_string string;
    std::string expected;
    for (int i = 0; i < modelOperations / 40; ++i)
    {
        if (i % 100 == 0)
        {
            string = utf8_string(200 + dice.upTo(200), 'a');
            expected = string.cpp_str();
            dice.rareness = std::size_t{1} << dice.upTo(5);
        }
        const std::string bytes = std::string(dice.upTo(19), 'b') + dice.bytes(12);
        const std::string thinner(dice.upTo(60), 'c');
        string.append(raw(bytes)).append(thinner);
        expected.append(bytes).append(thinner);
        ASSERT_EQ(faultOf(string, expected), "") << "operation " << i;
    }
}

TEST(Utf8String, ShortTextsAppendedToALongTextLeaveItsTableWhole)
{
    CDice dice(4);
    for (int round = 0; round < modelOperations / 12'500; ++round)
    {
        dice.rareness = 4 + dice.upTo(30);
        std::u32string start = dice.text(300) + std::u32string(300, U'a');
        start.front() = U'\u20AC';
        utf8_string string(start.c_str());
        std::string expected = encoded(start);
        for (int i = 0; i < 300; ++i)
        {
            dice.rareness = dice.oneIn(10) ? 1 : 20;
            const std::string text = encoded(dice.text(7)) + (dice.oneIn(4) ? "\u00E4" : "b");
            string.append(raw(text));
            expected.append(text);
            ASSERT_EQ(faultOf(string, expected), "") << "append " << i << " in round " << round;
        }
    }
}
