/// A text file as a sequence of lines; private to the INI files.
#ifndef KIV_LINEREADER_H
#define KIV_LINEREADER_H

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/files/FileStamp.h"

namespace Kiv
{

/// A piece of text that may be changed where it stands.
struct TextRange
{
    char* begin;
    char* end;
};

/// Reads a whole file into one block and hands out its lines, of any length and with any bytes; closes it at its own
/// end. Behind the last line there is room for one more character.
///
/// Threads: reentrant.
/// Errors: isOpen() and hasFailed() say so.
class CLineReader
{
public:
    explicit CLineReader(const std::string& path) : file(CDescriptor::open(path.c_str(), O_RDONLY)) {}

    bool isOpen() const { return file.isOpen(); }
    /// Of the file as it was opened; of none when it is not open.
    CFileStamp stamp() const { return isOpen() ? CFileStamp::of(file.get()) : CFileStamp(); }

    /// Once, before the lines. After an error the whole lines before it are handed out.
    void readAll(std::size_t expectedSize)
    {
        std::size_t size = 0;
        for (std::size_t room = std::min(expectedSize, trustedSize) + 1; readInto(size, room);)
            room = 2 * room + smallestRoom;
        next = text.get();
        end = next + (failed ? wholeLines(size) : size);
    }
    /// The next line with its line feed; an empty one at the end.
    TextRange read()
    {
        char* const begin = next;
        auto* const feed = static_cast<char*>(std::memchr(begin, '\n', static_cast<std::size_t>(end - begin)));
        next = feed ? feed + 1 : end;
        return {begin, next};
    }
    bool hasFailed() const { return failed; }

    /// What the lines point into.
    std::unique_ptr<char[]> takeText() { return std::move(text); }

private:
    static constexpr std::size_t smallestRoom = 4096;
    static constexpr std::size_t trustedSize = std::size_t{1} << 28; ///< what claims to be larger has to show it

    /// Fills a block of this size, with what came already at its begin; true when it is full before the file ends.
    bool readInto(std::size_t& size, std::size_t room)
    {
        std::unique_ptr<char[]> larger(new char[room + 1]);
        std::copy_n(text.get(), size, larger.get());
        text = std::move(larger);
        ssize_t got = 1;
        while (size < room && got > 0)
        {
            got = uninterrupted([&] { return ::read(file.get(), text.get() + size, room - size); });
            size += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        failed = got < 0;
        return got > 0;
    }

    std::size_t wholeLines(std::size_t size) const
    {
        while (size > 0 && text[size - 1] != '\n')
            --size;
        return size;
    }

    CDescriptor file;
    std::unique_ptr<char[]> text;
    char* next = nullptr; ///< what of the text comes next
    char* end = nullptr;
    bool failed = false;
};

} // namespace Kiv

#endif
