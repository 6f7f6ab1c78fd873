/// A text file as a sequence of lines; private to the INI files.
#ifndef KIV_LINEREADER_H
#define KIV_LINEREADER_H

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/files/FileStamp.h"

namespace Kiv
{

/// Reads a file in large blocks and hands out its lines, of any length and with any bytes; closes it at its own end.
///
/// Threads: reentrant.
/// Errors: isOpen() and read() say so.
class CLineReader
{
public:
    explicit CLineReader(const std::string& path) : file(std::fopen(path.c_str(), "rte")) {}

    bool isOpen() const { return file != nullptr; }
    bool atEnd() const { return ended; }
    /// Of the file as it was opened; of none when it is not open.
    CFileStamp stamp() const { return isOpen() ? CFileStamp::of(fileno(file.get())) : CFileStamp(); }

    /// The next line with its line feed; an empty one at the end. False on a read error.
    bool read(std::string& line)
    {
        line.clear();
        while (!ended)
        {
            if (next == end && !fetchBlock())
                return false;
            const char* start = block.data() + next;
            const auto* feed = static_cast<const char*>(std::memchr(start, '\n', end - next));
            const std::size_t length = feed ? static_cast<std::size_t>(feed - start) + 1 : end - next;
            line.append(start, length);
            next += length;
            if (feed)
                break;
        }
        return true;
    }

private:
    /// False when nothing comes because of an error; what came before the error is handed out first.
    bool fetchBlock()
    {
        if (std::ferror(file.get()))
            return false;
        next = 0;
        end = std::fread(block.data(), 1, block.size(), file.get());
        ended = end == 0;
        return !ended || !std::ferror(file.get());
    }

    FileHandle file;
    std::vector<char> block = std::vector<char>(65536);
    std::size_t next = 0; ///< what of the block comes next
    std::size_t end = 0;
    bool ended = false;
};

} // namespace Kiv

#endif
