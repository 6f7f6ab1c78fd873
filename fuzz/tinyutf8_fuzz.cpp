// Foreign bytes as a text, and as edits of it, beside a std::string of the same bytes.
#include <kiv/tinyutf8.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "../tests/Utf8Model.h"
#include "require.h"

namespace
{

utf8_string textOf(const std::string& bytes)
{
    return utf8_string(bytes.data(), bytes.size(), tiny_utf8_detail::read_bytes_tag());
}

/// Takes the input apart; behind its end there are zeros.
class CInput
{
public:
    CInput(const std::uint8_t* bytes, std::size_t size) : next(bytes), left(size) {}

    bool isEmpty() const { return left == 0; }

    unsigned byte()
    {
        if (left == 0)
            return 0;
        --left;
        return *next++;
    }

    std::string text(std::size_t limit)
    {
        const std::size_t count = std::min<std::size_t>(byte() % (limit + 1), left);
        const std::string result(next, next + count);
        next += count;
        left -= count;
        return result;
    }

    /// A place in something of this size, near its beginning or near its end.
    std::size_t place(std::size_t size)
    {
        const unsigned choice = byte();
        const std::size_t distance = std::min<std::size_t>(choice / 2, size);
        return choice % 2 == 0 ? distance : size - distance;
    }

private:
    const std::uint8_t* next;
    std::size_t left;
};

/// A string and the bytes that it must hold.
class CSubject
{
public:
    explicit CSubject(const std::string& bytes) : string(textOf(bytes)), expected(bytes) {}

    void edit(CInput& input)
    {
        const unsigned choice = input.byte() % 8;
        const std::size_t index = input.place(expected.size());
        const std::size_t count = input.place(expected.size() - index);
        switch (choice)
        {
        case 0:
            return replace(index, 0, input.text(64));
        case 1:
            return replace(index, count, input.text(64));
        case 2:
            return replace(index, count, "");
        case 3:
            return append(input.text(64));
        case 4:
            return append(std::string(input.byte() * 16, static_cast<char>(input.byte())));
        case 5:
            return pushAndPop(input.byte() << 24 | input.byte() << 12 | input.byte());
        case 6:
            return assignThroughIterators(input.byte());
        default:
            return insertItself(index);
        }
    }

    void check() const
    {
        require(faultOf(string, expected).empty());
        if (expected.size() <= 1000) // steps backwards through malformed text scan it each time
            require(faultOfViews(string, expected).empty());
        require(string == textOf(expected));
    }

    /// Whatever is searched, what is found stands there.
    void search(const std::string& bytes) const
    {
        const utf8_string text = textOf(bytes);
        require(string.raw_find(text) == expected.find(bytes));
        require(string.raw_rfind(text) == expected.rfind(bytes));
        const std::u32string set(text.begin(), text.end());
        const std::size_t first = string.find_first_of(set.c_str());
        require(first == utf8_string::npos || set.find(string.at(first)) != std::u32string::npos);
        const std::size_t last = string.raw_find_last_not_of(set.c_str());
        require(last == utf8_string::npos || set.c_str() == set.substr(0, set.find(string.raw_at(last))));
    }

private:
    void replace(std::size_t index, std::size_t count, const std::string& bytes)
    {
        string.raw_replace(index, count, textOf(bytes));
        expected.replace(index, count, bytes);
    }

    void append(const std::string& bytes)
    {
        string.append(textOf(bytes));
        expected.append(bytes);
    }

    void pushAndPop(char32_t codePoint)
    {
        string.push_back(codePoint);
        char bytes[tiny_utf8_detail::maxCodePointBytes];
        expected.append(bytes, tiny_utf8_detail::encode(codePoint, bytes));
        check();
        expected.resize(string.raw_previous(expected.size()));
        string.pop_back();
    }

    /// Assigns the same code point at a few places; only these bytes may change.
    void assignThroughIterators(unsigned step)
    {
        auto place = string.begin();
        for (int i = 0; i < 4 && place != string.end(); ++i)
        {
            const std::size_t index = place.raw_index();
            expected.replace(index, string.raw_next(index) - index, 1, 'x');
            *place = U'x';
            for (unsigned steps = 0; steps <= step % 16; ++steps)
                ++place;
        }
    }

    void insertItself(std::size_t index)
    {
        if (expected.size() > 40'000)
            return replace(0, expected.size() - 300, "");
        if (index == expected.size())
            string.append(string);
        else
            string.raw_insert(index, string);
        expected.insert(index, std::string(expected));
    }

    utf8_string string;
    std::string expected;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    CInput input(bytes, size);
    CSubject subject(input.text(255));
    subject.check();
    for (int edits = 0; edits < 64 && !input.isEmpty(); ++edits)
    {
        subject.edit(input);
        subject.check();
    }
    subject.search(input.text(8));
    return 0;
}
