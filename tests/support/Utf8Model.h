/// What a utf8_string must be like inside, told from its bytes alone; shared by its test and its fuzz target.
#ifndef KIV_TESTS_UTF8MODEL_H
#define KIV_TESTS_UTF8MODEL_H

#include <kiv/tinyutf8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

/// Reads a value from any address.
template<class T>
T valueAt(const void* address)
{
    T value;
    std::memcpy(&value, address, sizeof value);
    return value;
}

/// A string's object and buffer taken apart.
struct CUtf8Layout
{
    unsigned char object[32];
    bool isInline;
    std::size_t size;
    const char* data = nullptr;
    std::size_t capacity = 0;
    std::size_t length = 0;
    std::uint64_t header = 0;
    std::size_t width = 0;
    std::vector<std::size_t> entries;
    std::vector<std::size_t> milestones; ///< for every 16th entry, the number of code points before it

    explicit CUtf8Layout(const utf8_string& string)
    {
        std::memcpy(object, &string, sizeof object);
        isInline = (object[31] & 1) == 0;
        size = 31U - (object[31] >> 1);
        if (!isInline)
            readHeap();
    }

private:
    void readHeap()
    {
        data = valueAt<const char*>(object);
        size = valueAt<std::size_t>(object + 8);
        capacity = valueAt<std::size_t>(object + 16);
        object[31] >>= 1;
        length = valueAt<std::size_t>(object + 24);
        header = valueAt<std::uint64_t>(data + capacity);
        width = capacity <= 256 ? 1 : capacity <= 65536 ? 2 : capacity <= 4294967296 ? 4 : 8;
        for (std::size_t i = 1; i <= header >> 1; ++i)
        {
            std::uint64_t position = 0;
            std::memcpy(&position, data + capacity - i * width, width);
            entries.push_back(position);
        }
        for (std::size_t i = 0; i < entries.size() && capacity % 8 == 4; i += 16)
        {
            std::uint64_t codePoints = 0;
            std::memcpy(&codePoints, data + capacity + 8 + i / 16 * width, width);
            milestones.push_back(codePoints);
        }
    }
};

/// The beginnings of a text's code points, and behind them its end.
inline std::vector<std::size_t> beginningsIn(const std::string& bytes)
{
    std::vector<std::size_t> result;
    for (std::size_t i = 0; i < bytes.size();)
    {
        std::size_t ones = 0;
        while (ones < 8 && (static_cast<unsigned char>(bytes[i]) << ones & 0x80) != 0)
            ++ones;
        result.push_back(i);
        i += ones < 2 || i + ones > bytes.size() ? 1 : ones;
    }
    result.push_back(bytes.size());
    return result;
}

/// The first thing about a string that does not fit the bytes that it should hold; empty when all is well.
inline std::string faultOf(const utf8_string& string, const std::string& bytes)
{
    std::ostringstream fault;
    const auto expect = [&fault](const char* what, std::size_t is, std::size_t wanted) {
        if (is != wanted && fault.tellp() == 0)
            fault << what << " is " << is << " instead of " << wanted;
    };
    if (string.cpp_str() != bytes || string.c_str()[bytes.size()] != '\0')
        return "the bytes differ";
    const std::vector<std::size_t> beginnings = beginningsIn(bytes);
    const std::size_t length = beginnings.size() - 1;
    expect("length()", string.length(), length);

    const CUtf8Layout layout(string);
    expect("the size in the object", layout.size, bytes.size());
    if (layout.isInline)
        expect("unused bytes", static_cast<std::size_t>(std::count(layout.object + layout.size, layout.object + 31, 0)),
               31 - layout.size);
    else
        expect("the length in the object", layout.length, length);
    std::vector<std::size_t> multiBytes;
    std::vector<std::size_t> milestones;
    for (std::size_t i = 0; i < length; ++i)
    {
        if (beginnings[i + 1] - beginnings[i] == 1)
            continue;
        if (multiBytes.size() % 16 == 0)
            milestones.push_back(i);
        multiBytes.push_back(beginnings[i]);
    }
    if ((layout.header & 1) != 0 && layout.entries != multiBytes)
        fault << "the table has other entries";
    else if (!layout.entries.empty() && layout.entries != multiBytes)
        fault << "the resting table has other entries";
    else if (!layout.milestones.empty() && layout.milestones != milestones)
        fault << "the milestones stand elsewhere";
    else if (layout.milestones.empty() && layout.capacity > 256 && layout.entries.size() > 16)
        fault << "there are no milestones";
    if (!layout.isInline)
        expect("room", layout.size + 1 + layout.entries.size() * layout.width <= layout.capacity, true);
    return fault.str();
}

/// The first of a string's views by code points that does not fit the bytes that it should hold; all iterator
/// positions, and the conversions of some 500 indexes.
inline std::string faultOfViews(const utf8_string& string, const std::string& bytes)
{
    std::ostringstream fault;
    const auto expect = [&fault](const char* what, std::size_t at, std::size_t is, std::size_t wanted) {
        if (is != wanted && fault.tellp() == 0)
            fault << what << " at " << at << " is " << is << " instead of " << wanted;
    };
    const std::vector<std::size_t> beginnings = beginningsIn(bytes);
    const std::size_t length = beginnings.size() - 1;
    auto ahead = string.begin();
    auto back = string.rbegin();
    for (std::size_t i = 0; i <= length; ++i)
    {
        const std::size_t rest = length - i;
        expect("the iterator", i, (ahead == string.end() ? ahead : ahead++).raw_index(), beginnings[i]);
        expect("the reverse iterator", i, (back == string.rend() ? back : back++).base().raw_index(), beginnings[rest]);
        if (i % (1 + length / 500) != 0)
            continue;
        expect("get_num_bytes_from_start()", i, string.get_num_bytes_from_start(i), beginnings[i]);
        expect("get_num_bytes()", i, string.get_num_bytes(beginnings[i], rest), bytes.size() - beginnings[i]);
        expect("get_num_codepoints()", i, string.get_num_codepoints(beginnings[i], bytes.size()), rest);
        expect("[]", i, string[i], string.raw_get(beginnings[i]));
    }
    return fault.str();
}

#endif
