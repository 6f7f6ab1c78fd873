/// A string of Unicode code points kept as UTF-8 bytes: utf8_string.
#ifndef KIV_TINYUTF8_H
#define KIV_TINYUTF8_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <iosfwd>
#include <iterator>
#include <string>

#include <kiv/kiv_export.h>
#include <kiv/tinyutf8_bytes.h>
#include <kiv/tinyutf8_iterators.h>
#include <kiv/tinyutf8_storage.h>

namespace tiny_utf8_detail
{

/// Tells a constructor of utf8_string that its count means code points.
struct read_codepoints_tag
{};

/// Tells a constructor of utf8_string that its count means bytes.
struct read_bytes_tag
{};

} // namespace tiny_utf8_detail

/// A string whose characters are code points and whose storage is UTF-8.
///
/// It is for texts that are cut, counted or edited by character: a label for a display of 20 columns, a name with
/// umlauts, a line from a foreign system. Use std::string for bytes that nobody counts by code points. What a reader
/// takes for one character may be several code points (a letter and its accent, some emoji); this class does not join
/// them.
///
///     utf8_string label("20 °C → 68 °F");          // from UTF-8, from U"..." or from a list of code points
///     label.length();                              // 13 code points
///     label.size();                                // 17 bytes
///     label[3];                                    // U'°'
///     label[3] = U'º';                             // through a stand-in; may move the bytes behind it
///     label.substr(0, 5);                          // "20 ºC"
///     label.find(U'→');                            // 6, a code point index; npos when it is not there
///     label.raw_find(U'→');                        // 7, a byte index
///     for (const char32_t codePoint : std::as_const(label))
///         show(codePoint);
///     std::cout << label << label.c_str();         // the bytes
///
/// Operations come in two forms: the plain one counts and indexes code points, the one with `raw_` counts and indexes
/// bytes. A byte index is where a code point begins, as the raw searches and an iterator's raw_index() give it; at any
/// other the edit is made there all the same, and the bytes around it are counted anew.
///
/// | the string | kept | an index costs |
/// |---|---|---|
/// | up to 31 bytes | inside the object, without heap | nothing for single bytes, else a scan |
/// | single bytes only | on the heap | nothing |
/// | few multi-byte code points | on the heap, with a table of where they lie | a search by halves in the table |
/// | more than one of five bytes begins one | on the heap, without the table | a scan |
///
/// length() costs nothing on the heap. A buffer doubles when it is full; only shrink_to_fit(), assigning and swapping
/// give one back.
///
/// Any bytes are taken, nothing is validated, and no operation reads or writes outside of the data, whatever it is. A
/// first byte begins a code point of as many bytes as it has leading one bits, whatever follows it; a continuation byte
/// that stands alone and a sequence that would run past the end count as code points of one byte, whose value is the
/// byte's. Code points are any 32 bits, in up to 7 bytes. A text that arrives in pieces may be appended as it comes: a
/// sequence cut by the end of a piece is one code point as soon as its last byte is there. In malformed text, a step
/// backwards and an edit may have to scan from the last place that is sure to begin a code point.
///
/// Searches and comparisons look at the bytes, which is the order of code points too; nothing is normalised.
///
/// An edit invalidates iterators, stand-ins and the pointers that data() and c_str() gave.
///
/// Threads: reentrant; one object belongs to one thread at a time, const operations may run beside each other.
/// Errors: an index beyond the string throws std::out_of_range where the operation says so; counts that reach beyond
/// the end mean the rest. Memory that is missing throws std::bad_alloc, a size beyond max_size() std::length_error; the
/// string is unchanged then.
/// Units: code points; bytes in operations and parameters with raw or byte in their name, in size() and max_size().
class KIV_API utf8_string
{
public:
    // ---- what containers have

    using value_type = char32_t;
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using reference = tiny_utf8_detail::CCodePointReference;
    using const_reference = char32_t;
    using iterator = tiny_utf8_detail::CCodePointIterator<utf8_string>;
    using const_iterator = tiny_utf8_detail::CCodePointIterator<const utf8_string>;
    using reverse_iterator = std::reverse_iterator<iterator>;
    using const_reverse_iterator = std::reverse_iterator<const_iterator>;
    /// Raw iterators walk the bytes and only read them: the string's counts depend on what stands there.
    using raw_iterator = const char*;
    using raw_reverse_iterator = std::reverse_iterator<raw_iterator>;

    /// As an index: not found. As a count: up to the end.
    static constexpr size_type npos = static_cast<size_type>(-1);

    utf8_string() noexcept = default;

    /// Takes the bytes up to the terminating zero; null gives an empty string.
    utf8_string(const char* text) : storage(text, text == nullptr ? 0 : std::strlen(text)) {}
    utf8_string(const std::string& text) : storage(text.data(), text.size()) {}

    /// Takes up to `count` code points and stops at a terminating zero.
    utf8_string(const char* text, size_type count, tiny_utf8_detail::read_codepoints_tag);

    /// Takes `count` bytes, zeros included.
    utf8_string(const char* text, size_type count, tiny_utf8_detail::read_bytes_tag) : storage(text, count) {}

    /// Takes code points up to the terminating zero; null gives an empty string.
    utf8_string(const char32_t* codePoints);

    /// Takes `count` code points, zeros included.
    utf8_string(const char32_t* codePoints, size_type count);
    utf8_string(std::initializer_list<char32_t> codePoints);

    /// Repeats a code point, or a byte.
    utf8_string(size_type count, char32_t codePoint);
    utf8_string(size_type count, char byte);

    utf8_string(const utf8_string& other) = default;
    utf8_string(utf8_string&& other) noexcept = default;
    utf8_string& operator=(const utf8_string& other);
    utf8_string& operator=(utf8_string&& other) noexcept;
    ~utf8_string() = default;

    /// The number of code points. Counts them while the string is inside the object, at most 31 bytes.
    size_type length() const noexcept { return storage.length(); }

    /// The number of bytes.
    size_type size() const noexcept { return storage.size(); }
    bool empty() const noexcept { return size() == 0; }
    static constexpr size_type max_size() noexcept { return tiny_utf8_detail::CStorage::maxSize; }

    /// Code points that fit without a new buffer; on the heap an estimate from the string's present mix.
    size_type capacity() const noexcept { return storage.isHeap() ? get_non_sso_capacity() : storage.capacity(); }

    /// Bytes that the heap buffer holds, the table of multi-byte code points and the terminating zero included; 31
    /// while the string is inside the object.
    size_type raw_capacity() const noexcept { return storage.capacity(); }

    /// The bytes with a terminating zero; they stay until the next edit.
    const char* c_str() const noexcept { return data(); }
    const char* data() const noexcept { return storage.data(); }

    /// A copy of the bytes.
    std::string cpp_str() const;

    /// The bytes EF BB BF, the mark that some programs want at the start of a UTF-8 file, and a copy of the string's
    /// bytes.
    std::string cpp_str_bom() const;

    // ---- one code point

    /// The code point at `index`; throws std::out_of_range unless `index` < length().
    reference at(size_type index) { return raw_at(byteIndexOf(index)); }
    char32_t at(size_type index) const { return raw_at(byteIndexOf(index)); }

    /// The code point that begins at `byteIndex`; throws std::out_of_range unless `byteIndex` < size().
    reference raw_at(size_type byteIndex);
    char32_t raw_at(size_type byteIndex) const;

    /// The code point at `index`, unchecked; beyond the end it is 0, and assigning appends.
    reference operator[](size_type index) noexcept { return raw_get(std::min(byteIndexOf(index), size())); }
    char32_t operator[](size_type index) const noexcept
    {
        return storage.hasSingleBytesOnly() ? storage.byteAt(index) : raw_get(get_num_bytes(0, index));
    }

    /// The code point that begins at `byteIndex`, the raw form of []; beyond the end it is 0.
    reference raw_get(size_type byteIndex) noexcept { return reference(*this, byteIndex); }
    char32_t raw_get(size_type byteIndex) const noexcept;

    /// The first and the last code point; 0 when there is none.
    reference front() noexcept { return raw_get(0); }
    char32_t front() const noexcept { return raw_get(0); }
    reference back() noexcept { return raw_get(raw_previous(size())); }
    char32_t back() const noexcept { return raw_get(raw_previous(size())); }

    // ---- between code points and bytes

    /// Number of code points in `byteCount` bytes from `byteIndex` on: each that begins there counts as if all its
    /// bytes did, so a range that ends inside one counts less, never below 0.
    size_type get_num_codepoints(size_type byteIndex, size_type byteCount) const noexcept;

    /// Number of bytes of the first `count` code points. When there are fewer it is size(), and with a table in use one
    /// more for each that is missing.
    size_type get_num_bytes_from_start(size_type count) const noexcept;

    /// Number of bytes of `count` code points from `byteIndex` on; up to the end when there are fewer. Bytes before the
    /// next beginning of a code point count alone.
    size_type get_num_bytes(size_type byteIndex, size_type count) const noexcept;

    /// The capacity of the heap buffer in code points, estimated from the string's present mix; for strings on the
    /// heap.
    size_type get_non_sso_capacity() const noexcept;

    /// True when the string is inside the object and has a byte that is not ASCII.
    bool requires_unicode_sso() const noexcept { return storage.isUnicodeInside(); }

    /// Number of bytes of the code point that ends before `byteIndex`, up to 7; 1 for bytes that form none, 0 at the
    /// start.
    static size_type get_num_bytes_of_utf8_char_before(const char* data, size_type byteIndex) noexcept;

    /// Number of bytes that a code point takes, 1 to 7.
    static size_type get_codepoint_bytes(char32_t codePoint) noexcept
    {
        return tiny_utf8_detail::encodedLength(codePoint);
    }

    /// Where the code point behind the one at `byteIndex` begins; size() from the last one on.
    size_type raw_next(size_type byteIndex) const noexcept;

    /// Where the code point before `byteIndex` begins; 0 at the start.
    size_type raw_previous(size_type byteIndex) const noexcept;

    // ---- edits; those that take an index throw std::out_of_range when it is beyond the end

    utf8_string& append(const utf8_string& text);
    utf8_string& append(size_type count, char32_t codePoint) { return append(utf8_string(count, codePoint)); }
    utf8_string& operator+=(const utf8_string& text) { return append(text); }
    utf8_string& operator+=(char32_t codePoint)
    {
        push_back(codePoint);
        return *this;
    }
    void push_back(char32_t codePoint)
    {
        if (codePoint >= 0x80 || !storage.appendAscii(static_cast<char>(codePoint)))
            appendCodePoint(codePoint);
    }

    /// Removes the last code point; nothing when there is none.
    void pop_back() noexcept;

    utf8_string& insert(size_type index, const utf8_string& text);
    utf8_string& insert(size_type index, char32_t codePoint) { return insert(index, 1, codePoint); }
    utf8_string& insert(size_type index, size_type count, char32_t codePoint);
    utf8_string& raw_insert(size_type byteIndex, const utf8_string& text);
    utf8_string& raw_insert(size_type byteIndex, char32_t codePoint);

    utf8_string& replace(size_type index, size_type count, const utf8_string& text);
    utf8_string& replace(size_type index, size_type count, char32_t codePoint);
    utf8_string& raw_replace(size_type byteIndex, size_type byteCount, const utf8_string& text);

    utf8_string& erase(size_type index = 0, size_type count = npos);
    utf8_string& raw_erase(size_type byteIndex = 0, size_type byteCount = npos);

    /// The same by iterators; they return where the new text begins, or what follows the erased one.
    iterator insert(const_iterator place, const utf8_string& text);
    iterator erase(const_iterator place);
    iterator erase(const_iterator first, const_iterator last);
    iterator replace(const_iterator first, const_iterator last, const utf8_string& text);

    /// A copy of a part.
    utf8_string substr(size_type index = 0, size_type count = npos) const;
    utf8_string raw_substr(size_type byteIndex = 0, size_type byteCount = npos) const;

    /// Empties the string and keeps its buffer.
    void clear() noexcept;
    void swap(utf8_string& other) noexcept { storage.swap(other.storage); }

    /// Makes room for at least `count` code points of the string's present mix, of single bytes while it is empty.
    void reserve(size_type count);

    /// Makes room for at least `byteCount` bytes beside the table.
    void raw_reserve(size_type byteCount);

    /// Takes the smallest buffer that holds the string, none when the object itself does.
    void shrink_to_fit();

    // ---- searches: where a text, or a code point of a set, begins; npos when there is none

    /// The first one at `start` or behind it. An empty text is found at `start` while that is not beyond the end.
    size_type find(const utf8_string& text, size_type start = 0) const noexcept;
    size_type find(char32_t codePoint, size_type start = 0) const noexcept;
    size_type raw_find(const utf8_string& text, size_type byteStart = 0) const noexcept;
    size_type raw_find(char32_t codePoint, size_type byteStart = 0) const noexcept;

    /// The last one that begins at `start` or before it.
    size_type rfind(const utf8_string& text, size_type start = npos) const noexcept;
    size_type rfind(char32_t codePoint, size_type start = npos) const noexcept;
    size_type raw_rfind(const utf8_string& text, size_type byteStart = npos) const noexcept;
    size_type raw_rfind(const char32_t* text, size_type byteStart = npos) const;
    size_type raw_rfind(char32_t codePoint, size_type byteStart = npos) const noexcept;

    /// The first code point, from `start` on, that is (not) in the zero-terminated `set`.
    size_type find_first_of(const char32_t* set, size_type start = 0) const noexcept;
    size_type find_first_not_of(const char32_t* set, size_type start = 0) const noexcept;
    size_type raw_find_first_of(const char32_t* set, size_type byteStart = 0) const noexcept;
    size_type raw_find_first_not_of(const char32_t* set, size_type byteStart = 0) const noexcept;

    /// The last code point, from `start` backwards, that is (not) in the zero-terminated `set`.
    size_type find_last_of(const char32_t* set, size_type start = npos) const noexcept;
    size_type find_last_not_of(const char32_t* set, size_type start = npos) const noexcept;
    size_type raw_find_last_of(const char32_t* set, size_type byteStart = npos) const noexcept;
    size_type raw_find_last_not_of(const char32_t* set, size_type byteStart = npos) const noexcept;

    // ---- comparison

    /// Below, at or above 0 as this string comes before, is equal to or comes behind the other one.
    int compare(const utf8_string& other) const noexcept;

    friend bool operator==(const utf8_string& a, const utf8_string& b) noexcept
    {
        return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
    }
    friend bool operator!=(const utf8_string& a, const utf8_string& b) noexcept { return !(a == b); }
    friend bool operator<(const utf8_string& a, const utf8_string& b) noexcept { return a.compare(b) < 0; }
    friend bool operator<=(const utf8_string& a, const utf8_string& b) noexcept { return a.compare(b) <= 0; }
    friend bool operator>(const utf8_string& a, const utf8_string& b) noexcept { return a.compare(b) > 0; }
    friend bool operator>=(const utf8_string& a, const utf8_string& b) noexcept { return a.compare(b) >= 0; }

    friend utf8_string operator+(utf8_string a, const utf8_string& b)
    {
        a.append(b);
        return a;
    }

    friend void swap(utf8_string& a, utf8_string& b) noexcept { a.swap(b); }

    // ---- iterators; their differences count code points, or bytes for the raw ones

    iterator begin() noexcept { return iterator(*this, 0); }
    iterator end() noexcept { return iterator(*this, size()); }
    const_iterator begin() const noexcept { return const_iterator(*this, 0); }
    const_iterator end() const noexcept { return const_iterator(*this, size()); }
    const_iterator cbegin() const noexcept { return begin(); }
    const_iterator cend() const noexcept { return end(); }
    reverse_iterator rbegin() noexcept { return reverse_iterator(end()); }
    reverse_iterator rend() noexcept { return reverse_iterator(begin()); }
    const_reverse_iterator rbegin() const noexcept { return const_reverse_iterator(end()); }
    const_reverse_iterator rend() const noexcept { return const_reverse_iterator(begin()); }
    const_reverse_iterator crbegin() const noexcept { return rbegin(); }
    const_reverse_iterator crend() const noexcept { return rend(); }
    raw_iterator raw_begin() const noexcept { return data(); }
    raw_iterator raw_end() const noexcept { return data() + size(); }
    raw_reverse_iterator raw_rbegin() const noexcept { return raw_reverse_iterator(raw_end()); }
    raw_reverse_iterator raw_rend() const noexcept { return raw_reverse_iterator(raw_begin()); }

private:
    /// The byte index of a code point; size() or more behind the last one.
    size_type byteIndexOf(size_type index) const noexcept
    {
        return storage.hasSingleBytesOnly() ? index : get_num_bytes(0, index);
    }

    void appendCodePoint(char32_t codePoint);
    bool appendShort(const utf8_string& text) noexcept;
    void appendAny(const utf8_string& text);

    tiny_utf8_detail::CStorage storage;
};

static_assert(sizeof(utf8_string) == 32, "the layout of utf8_string is fixed");

inline char32_t utf8_string::raw_get(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex < end ? tiny_utf8_detail::decode(data(), byteIndex, end) : 0;
}

inline utf8_string::size_type utf8_string::raw_next(size_type byteIndex) const noexcept
{
    const size_type end = size();
    return byteIndex < end ? byteIndex + tiny_utf8_detail::sequenceLength(data(), byteIndex, end) : end;
}

inline utf8_string& utf8_string::append(const utf8_string& text)
{
    using Storage = tiny_utf8_detail::CStorage;
    if (storage.appendInside(text.storage))
        return *this;
    const bool isQuick = storage.isHeap() && !text.storage.isHeap() && storage.hasRoomAndTable(Storage::objectSize);
    if (isQuick && !text.storage.isUnicodeInside())
        storage.appendShortAscii(text.storage);
    else if (!isQuick || !appendShort(text))
        appendAny(text);
    return *this;
}

inline tiny_utf8_detail::CCodePointReference::operator char32_t() const noexcept
{
    return static_cast<const utf8_string*>(string)->raw_get(place);
}

namespace Kiv
{

using ::utf8_string;
namespace tiny_utf8_detail = ::tiny_utf8_detail;

} // namespace Kiv

/// Writes the bytes.
KIV_API std::ostream& operator<<(std::ostream& stream, const utf8_string& text);

/// Reads a word up to the next white space, as for std::string.
KIV_API std::istream& operator>>(std::istream& stream, utf8_string& text);

#endif
