/// A text file in memory, line by line, and the error that names one of its lines.
#ifndef KIV_PUMPSTATION_TEXTFILE_H
#define KIV_PUMPSTATION_TEXTFILE_H

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace PumpStation
{

/// What is wrong with a file that a person wrote, as a rule one line: "FILE:LINE: REASON", without a line "FILE:
/// REASON".
class CInputError : public std::runtime_error
{
public:
    /// Several such lines, each with its end.
    explicit CInputError(std::string faults);
    CInputError(const std::string& path, const std::string& reason);
    CInputError(const std::string& path, std::size_t line, const std::string& reason);
};

/// The lines of a file, which count from 1 as they do in an editor.
class CTextFile
{
public:
    /// Reads the whole file. CInputError if it cannot be read, is empty, or holds a line that is no text or has more
    /// than 1,000 bytes.
    explicit CTextFile(const std::string& path);

    const std::string& path() const { return filePath; }
    std::size_t lineCount() const { return lines.size(); }

    /// Without its line break, which may be LF or CR LF.
    const std::string& line(std::size_t number) const { return lines.at(number - 1); }

    [[noreturn]] void fail(std::size_t line, const std::string& reason) const;

private:
    void add(int byte);
    void endLine();

    std::string filePath;
    std::vector<std::string> lines;
    std::string current;
};

} // namespace PumpStation

#endif
