// Foreign bytes as a text, and as edits of it, beside a std::string of the same bytes.
#include <kiv/tinyutf8.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>

#include "require.h"
#include "support/Utf8Model.h"

namespace
{

// Many small inputs find more than a few large ones; long texts are what the test with the model is for.
constexpr std::size_t longestText = 400;
constexpr int mostEdits = 12;

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
        if (expected.size() > longestText)
            return replace(40, expected.size() / 2, "");
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
            return append(std::string(input.byte(), static_cast<char>(input.byte())));
        case 5:
            return pushAndPop(input.byte() << 24 | input.byte() << 12 | input.byte());
        case 6:
            return assignThroughIterators(input.byte());
        default:
            return insertItself(index);
        }
    }

    void check() const { require(faultOf(string, expected).empty()); }

    /// Every way to look at the text shows the same.
    void checkViews() const
    {
        require(faultOfViews(string, expected).empty());
        require(string == textOf(expected));
    }

    /// Texts and sets are found where they stand.
    void search(const std::string& bytes) const
    {
        const utf8_string text = textOf(bytes);
        require(string.raw_find(text) == expected.find(bytes));
        require(string.raw_rfind(text) == expected.rfind(bytes));
        const std::u32string codePoints(string.begin(), string.end());
        const std::u32string set(std::u32string(text.begin(), text.end()).c_str()); // a set ends at its first NUL
        require(string.find_first_of(set.c_str()) == codePoints.find_first_of(set));
        require(string.find_last_of(set.c_str()) == codePoints.find_last_of(set));
        require(string.find_first_not_of(set.c_str()) == codePoints.find_first_not_of(set));
        require(string.find_last_not_of(set.c_str()) == codePoints.find_last_not_of(set));
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
    const std::string wanted = input.text(8);
    CSubject subject(input.text(255));
    subject.check();
    for (int edits = 0; edits < mostEdits && !input.isEmpty(); ++edits)
    {
        subject.edit(input);
        subject.check();
    }
    subject.checkViews();
    subject.search(wanted);
    return 0;
}
