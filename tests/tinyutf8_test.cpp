#include <kiv/tinyutf8.h>

#include <iomanip>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Utf8Model.h"

using testing::ElementsAre;
using tiny_utf8_detail::read_bytes_tag;
using tiny_utf8_detail::read_codepoints_tag;

namespace
{

constexpr auto npos = utf8_string::npos;

std::u32string codePointsOf(const utf8_string& string) { return std::u32string(string.begin(), string.end()); }

/// The message that a call throws in a std::out_of_range.
template<class Call>
std::string messageOf(Call call)
{
    try
    {
        call();
    }
    catch (const std::out_of_range& failure)
    {
        return failure.what();
    }
    return "nothing thrown";
}

/// A short way to the bytes that are not well-formed UTF-8.
utf8_string raw(const std::string& bytes) { return utf8_string(bytes.data(), bytes.size(), read_bytes_tag()); }

} // namespace

TEST(Utf8String, RepetitionIsLaidOutAsTheFormatSays)
{
    struct
    {
        const char* name;
        std::size_t count;
        char32_t codePoint;
        std::size_t size, capacity; // capacity 0: inside the object
        unsigned last;
        std::uint64_t header;
    } const rows[] = {
        {"empty", 0, U'a', 0, 0, 62, 0},
        {"one byte", 1, U'a', 1, 0, 60, 0},
        {"longest inside", 31, U'a', 31, 0, 0, 0},
        {"shortest on the heap", 32, U'a', 32, 40, 1, 1},
        {"full groups of eight", 39, U'a', 39, 40, 1, 1},
        {"one group more", 40, U'a', 40, 48, 1, 1},
        {"multi-byte inside", 10, U'\u20AC', 30, 0, 2, 0},
        {"multi-byte on the heap", 11, U'\u20AC', 33, 40, 1, 0},
        {"seven bytes", 5, 0xFFFFFFFF, 35, 40, 1, 0},
        {"zeros", 33, 0, 33, 40, 1, 1},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        const utf8_string string(row.count, row.codePoint);
        const CUtf8Layout layout(string);
        EXPECT_EQ(layout.isInline, row.capacity == 0);
        EXPECT_EQ(layout.capacity, row.capacity);
        EXPECT_EQ(reinterpret_cast<const unsigned char*>(&string)[31], row.last);
        EXPECT_EQ(layout.header, row.header);
        EXPECT_EQ(string.size(), row.size);
        std::string bytes;
        for (std::size_t i = 0; i < row.count; ++i)
            bytes += utf8_string{row.codePoint}.cpp_str();
        EXPECT_EQ(faultOf(string, bytes), "");
    }
    EXPECT_EQ(faultOf(utf8_string(50, '\xE2'), std::string(50, '\xE2')), "");
}

TEST(Utf8String, TableEntriesAreAsWideAsTheCapacityNeeds)
{
    struct
    {
        std::size_t size, capacity, width;
    } const rows[] = {{253, 256, 1}, {254, 264, 2}, {65531, 65536, 2}, {65532, 65544, 4}};
    for (const auto& row : rows)
    {
        std::string bytes(row.size, 'a');
        bytes.replace(3, 2, "\u00E9").replace(row.size - 3, 3, "\u20AC");
        const utf8_string string(bytes);
        const CUtf8Layout layout(string);
        EXPECT_EQ(layout.capacity, row.capacity);
        EXPECT_EQ(layout.width, row.width);
        EXPECT_THAT(layout.entries, ElementsAre(3U, row.size - 3));
        EXPECT_EQ(layout.length, row.size - 3);
    }
}

TEST(Utf8String, CodePointsTakeOneToSevenBytes)
{
    struct
    {
        char32_t codePoint;
        const char* bytes;
    } const rows[] = {
        {0x7F, "\x7F"},
        {0x80, "\xC2\x80"},
        {0x7FF, "\xDF\xBF"},
        {0x800, "\xE0\xA0\x80"},
        {0xFFFF, "\xEF\xBF\xBF"},
        {0x10000, "\xF0\x90\x80\x80"},
        {0x1FFFFF, "\xF7\xBF\xBF\xBF"},
        {0x200000, "\xF8\x88\x80\x80\x80"},
        {0x3FFFFFF, "\xFB\xBF\xBF\xBF\xBF"},
        {0x4000000, "\xFC\x84\x80\x80\x80\x80"},
        {0x7FFFFFFF, "\xFD\xBF\xBF\xBF\xBF\xBF"},
        {0x80000000, "\xFE\x82\x80\x80\x80\x80\x80"},
        {0xFFFFFFFF, "\xFE\x83\xBF\xBF\xBF\xBF\xBF"},
    };
    for (const auto& row : rows)
    {
        const utf8_string string{row.codePoint};
        EXPECT_EQ(string.cpp_str(), row.bytes);
        EXPECT_EQ(utf8_string::get_codepoint_bytes(row.codePoint), string.size());
        EXPECT_EQ(utf8_string::get_num_bytes_of_utf8_char_before(row.bytes, string.size()), string.size());
        EXPECT_EQ(string.length(), 1U);
        EXPECT_EQ(string.front(), row.codePoint);
    }
}

TEST(Utf8String, MalformedBytesCountAsTheyBegin)
{
    struct
    {
        const char* name;
        std::string bytes;
        std::u32string codePoints;
    } const rows[] = {
        {"cut at the end", "a\xE2\x82", {U'a', 0xE2, 0x82}},
        {"lone continuation", "\x80z\xBF", {0x80, U'z', 0xBF}},
        {"other bytes inside", "\xC3\x41\x42", {0xC1, U'B'}},
        {"all ones at the end", "\xFF", {0xFF}},
        {"all ones before seven",
         "\xFF"
         "1234567"
         "8",
         {0xB3D35DB7, U'8'}},
        {"seven bytes cut", "\xFE\x83\xBF\xBF\xBF\xBF", {0xFE, 0x83, 0xBF, 0xBF, 0xBF, 0xBF}},
    };
    for (const auto& row : rows)
    {
        SCOPED_TRACE(row.name);
        // Buffers of exactly this size, so that any access behind them is noticed.
        const std::unique_ptr<char[]> exact(new char[row.bytes.size()]);
        std::copy(row.bytes.begin(), row.bytes.end(), exact.get());
        const utf8_string byBytes(exact.get(), row.bytes.size(), read_bytes_tag());
        const std::unique_ptr<char[]> terminated(new char[row.bytes.size() + 1]);
        std::copy_n(row.bytes.c_str(), row.bytes.size() + 1, terminated.get());
        EXPECT_EQ(utf8_string(terminated.get(), npos, read_codepoints_tag()), byBytes);
        EXPECT_EQ(faultOf(byBytes, row.bytes) + faultOfViews(byBytes, row.bytes), "");
        EXPECT_EQ(codePointsOf(byBytes), row.codePoints);
    }
}

TEST(Utf8String, CutTextKeepsItsTableForTheMissingBytes)
{
    utf8_string string(std::string(100, 'a') + "\u20AC" + std::string(100, 'b'));
    string += raw("\xF0\x9F\x98");
    EXPECT_EQ(CUtf8Layout(string).header, 2U); // one entry, not in use
    EXPECT_EQ(string.length(), 204U);
    EXPECT_EQ(string[202], 0x9FU);
    string += raw("\x80");
    EXPECT_EQ(CUtf8Layout(string).header, 5U);
    EXPECT_EQ(string.back(), U'\U0001F600');

    // The same where there is no entry to keep, and through the single code point.
    utf8_string ascii(100, 'a');
    ascii += raw("\xE2\x82");
    EXPECT_EQ(CUtf8Layout(ascii).header, 0U);
    ascii.push_back('b');
    EXPECT_EQ(CUtf8Layout(ascii).header, 3U);
    EXPECT_EQ(faultOf(ascii, std::string(100, 'a') + "\xE2\x82"
                                                     "b"),
              "");
}

TEST(Utf8String, TableIsDroppedInDenseTextAndComesBackInThinText)
{
    const utf8_string dense(1000, U'\u0439');
    utf8_string string(1000, 'a');
    EXPECT_EQ(CUtf8Layout(string).header & 1, 1U);
    string.insert(500, dense);
    EXPECT_EQ(CUtf8Layout(string).header, 0U);
    string.erase(510, 990);
    EXPECT_EQ(CUtf8Layout(string).header, 10U << 1 | 1);
    string = dense;
    for (int i = 0; i < 20'000; ++i)
        string.push_back('a');
    EXPECT_EQ(CUtf8Layout(string).header, 1000U << 1 | 1);
    EXPECT_EQ(string[1000], U'a');
    EXPECT_EQ(string.get_num_bytes_from_start(1001), 2001U);
}

TEST(Utf8String, IndexBeyondTheEndThrowsTheOperationsMessage)
{
    const char* const substr = "utf8_string::(raw_)substr: index > data_len";
    const char* const insert = "utf8_string::(raw_)insert: index > old_data_len";
    const char* const replace = "utf8_string::(raw_)replace: index > old_data_len";
    const char* const erase = "utf8_string::(raw_)erase: index > old_data_len";
    const char* const at = "utf8_string::(raw_)at: byte_index >= size";
    // Inside the object, on the heap with a table, and without one.
    for (const utf8_string& text :
         {utf8_string("h\u00E9"), utf8_string(std::string(40, 'a') + "\u00E9"), utf8_string(20, U'\u00E9')})
    {
        utf8_string string = text;
        const std::size_t length = string.length();
        const std::size_t size = string.size();
        EXPECT_EQ(messageOf([&] { string.substr(length + 1); }), substr);
        EXPECT_EQ(messageOf([&] { string.raw_substr(size + 1); }), substr);
        EXPECT_EQ(messageOf([&] { string.insert(length + 1, "x"); }), insert);
        EXPECT_EQ(messageOf([&] { string.raw_insert(size + 1, "x"); }), insert);
        EXPECT_EQ(messageOf([&] { string.replace(length + 1, 0, "x"); }), replace);
        EXPECT_EQ(messageOf([&] { string.raw_replace(size + 1, 0, "x"); }), replace);
        EXPECT_EQ(messageOf([&] { string.erase(npos); }), erase);
        EXPECT_EQ(messageOf([&] { string.raw_erase(npos); }), erase);
        EXPECT_EQ(messageOf([&] { string.at(length); }), at);
        EXPECT_EQ(messageOf([&] { static_cast<void>(text.raw_at(size)); }), at);
        EXPECT_EQ(string, text);
        EXPECT_EQ(string.substr(length) + string.raw_substr(size), "");
        EXPECT_EQ(string.at(length - 1), U'\u00E9');
    }
    utf8_string string("as it was");
    EXPECT_THROW(string.reserve(npos), std::length_error);
    EXPECT_THROW(string.append(npos / 2, U'\u00E9'), std::length_error);
    EXPECT_EQ(string, "as it was");
}

TEST(Utf8String, ConvertsBetweenCodePointsAndBytes)
{
    const utf8_string two{U'\u00E9', U'A'};
    EXPECT_EQ(two.get_num_bytes_from_start(2), 3U);
    EXPECT_EQ(two.get_num_bytes_from_start(9), 3U);
    EXPECT_TRUE(two.requires_unicode_sso());
    EXPECT_FALSE(utf8_string(31, 'A').requires_unicode_sso());

    // 60 bytes with a table of two entries.
    const utf8_string text(std::string(20, 'a') + "\u20AC" + std::string(20, 'b') + "\u00E9" + std::string(15, 'c'));
    EXPECT_EQ(text.length(), 57U);
    EXPECT_EQ(text.get_num_bytes_from_start(21), 23U);
    EXPECT_EQ(text.get_num_bytes_from_start(57 + 3), 60U + 3);
    EXPECT_EQ(text.get_num_bytes_from_start(npos), npos);
    EXPECT_EQ(text.get_num_bytes(21, 3), 3U); // inside the euro sign
    EXPECT_EQ(text.get_num_codepoints(20, 3), 1U);
    EXPECT_EQ(text.get_num_codepoints(22, npos), 37U);
    EXPECT_EQ(text.get_num_codepoints(0, 21), 19U); // cut behind the first byte of the euro sign
    const std::size_t capacity = CUtf8Layout(text).capacity;
    EXPECT_EQ(text.get_non_sso_capacity(), 57 * (capacity - 1) / (60 + 2));
    EXPECT_EQ(utf8_string(40, 'a').get_non_sso_capacity(), 47U);
    utf8_string cleared(40, 'a');
    cleared.clear();
    EXPECT_EQ(cleared.get_non_sso_capacity(), 47U);
}

TEST(Utf8String, TakesPartsOfItselfAndSurvivesMoves)
{
    for (const std::size_t count : {2U, 20U, 50U})
    {
        const std::string once = std::string(count, 'x') + "\u00E9";
        utf8_string string(once);
        string.append(string).insert(1, string);
        EXPECT_EQ(faultOf(string, once.substr(0, 1) + once + once + once.substr(1) + once), "");
        string.raw_replace(0, npos, string).erase();
        EXPECT_TRUE(string.empty());
        string = once;
        utf8_string& same = string;
        string = same;
        EXPECT_EQ(faultOf(string, once), "");
        utf8_string taken(std::move(string));
        EXPECT_EQ(faultOf(taken, once) + faultOf(string, ""), ""); // NOLINT(bugprone-use-after-move)
        swap(taken, string);
        EXPECT_EQ(faultOf(string, once) + faultOf(taken, ""), "");
    }

    // In a buffer that has just the room for twice the text and its ten entries.
    std::string bytes;
    for (int i = 0; i < 10; ++i)
        bytes += "aaaaaa\u00E9";
    utf8_string full(bytes);
    full.raw_reserve(2 * bytes.size() + 10);
    const std::size_t capacity = full.raw_capacity();
    full.append(full);
    EXPECT_EQ(full.raw_capacity(), capacity);
    EXPECT_EQ(faultOf(full, bytes + bytes), "");
}

TEST(Utf8String, IteratorsCountCodePointsAndAssignThroughThem)
{
    utf8_string string(U"a\u00E9\u20AC\U0001F600z");
    EXPECT_EQ(string.cend() - string.cbegin(), 5);
    EXPECT_EQ(string.crbegin() - string.crend(), -5);
    EXPECT_EQ(std::u32string(string.rbegin(), string.rend()), U"z\U0001F600\u20AC\u00E9a");
    EXPECT_EQ(std::string(string.raw_rbegin(), string.raw_rend()).front(), 'z');
    for (auto place = string.begin(); place != string.end(); ++place)
        *place = *place + 1;
    EXPECT_EQ(codePointsOf(string), U"b\u00EA\u20AD\U0001F601{");
    auto place = string.erase(std::next(string.cbegin()), std::prev(string.cend()));
    EXPECT_EQ(string, "b{");
    place = string.insert(place, "\u20AC");
    *place = 'c'; // shorter
    string.back() = U'\u00E9';
    string.front() = string.raw_at(1);
    string[3] = U'!'; // behind the end
    EXPECT_EQ(faultOf(string, "cc\u00E9!"), "");
    EXPECT_EQ(utf8_string().back(), 0U);
}

TEST(Utf8String, ReadsAndWritesLikeOtherStrings)
{
    EXPECT_EQ(utf8_string().cpp_str_bom(), "\xEF\xBB\xBF");
    EXPECT_EQ(utf8_string("\u00E9").cpp_str_bom(), "\xEF\xBB\xBF\u00E9");
    EXPECT_EQ(utf8_string("\u00E9\u00E8", 1, read_codepoints_tag()), "\u00E9");
    EXPECT_EQ(utf8_string("ab\0c", 9, read_codepoints_tag()), "ab");
    EXPECT_EQ(utf8_string("ab\0c", 4, read_bytes_tag()).length(), 4U);
    EXPECT_EQ(utf8_string(static_cast<const char*>(nullptr)), utf8_string(static_cast<const char32_t*>(nullptr)));

    std::stringstream stream("  \u00FCber alles");
    utf8_string word;
    stream >> word;
    EXPECT_EQ(word, "\u00FCber");
    std::ostringstream out;
    out << std::setw(7) << word << utf8_string(std::string("\0!", 2));
    EXPECT_EQ(out.str(), "  \u00FCber" + std::string("\0!", 2));

    EXPECT_LT(utf8_string("z"), utf8_string(U"\u00E9"));
    EXPECT_LT(utf8_string(U"\uFFFF"), utf8_string(U"\U00010000"));
    EXPECT_LT(utf8_string("ab"), utf8_string("abc"));
    EXPECT_GE(utf8_string("b").compare("a\u00E9"), 1);
    const utf8_string text(U"one \u20AC two \u20AC");
    EXPECT_EQ(text.raw_rfind(U"\u20AC"), 12U);
    EXPECT_EQ(text.find("", 11), 11U);
    EXPECT_EQ(text.find("", 12), npos);
    EXPECT_EQ("<" + text + ">", "<one \u20AC two \u20AC>");
}

TEST(Utf8String, ShrinksToTheSmallestBuffer)
{
    utf8_string string(20, U'a');
    string.reserve(1000);
    EXPECT_GE(string.raw_capacity(), 1001U);
    EXPECT_EQ(string.capacity(), string.raw_capacity() - 1);
    string.shrink_to_fit();
    EXPECT_TRUE(CUtf8Layout(string).isInline);
    string.append(30, U'b').append("\u00E9");
    string.shrink_to_fit();
    EXPECT_EQ(CUtf8Layout(string).capacity, 56U); // 52 bytes, the zero and an entry
}
