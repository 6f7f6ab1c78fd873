#include "TextFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include <kiv/ErrorToString.h>
#include <kiv/errno_translation.h>

namespace PumpStation
{

namespace
{

constexpr std::size_t longestLine = 1000;

std::string systemError() { return ErrorToString(errnoToErrCode(errno)); }

} // namespace

CInputError::CInputError(std::string faults) : std::runtime_error(faults.erase(faults.size() - 1)) {}

CInputError::CInputError(const std::string& path, const std::string& reason) : std::runtime_error(path + ": " + reason)
{}

CInputError::CInputError(const std::string& path, std::size_t line, const std::string& reason)
    : std::runtime_error(path + ":" + std::to_string(line) + ": " + reason)
{}

CTextFile::CTextFile(const std::string& path) : filePath(path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), &std::fclose);
    if (!file)
        throw CInputError(path, "cannot be read: " + systemError());
    for (int byte = std::fgetc(file.get()); byte != EOF; byte = std::fgetc(file.get()))
        add(byte);
    if (std::ferror(file.get()) != 0)
        throw CInputError(path, "cannot be read: " + systemError());
    if (!current.empty())
        endLine();
    if (lines.empty())
        fail(1, "the file is empty");
}

void CTextFile::add(int byte)
{
    if (byte == '\n')
        return endLine();
    if (byte < ' ' && byte != '\t' && byte != '\r')
        fail(lines.size() + 1, "this is no text: it holds a byte " + std::to_string(byte));
    if (current.size() == longestLine)
        fail(lines.size() + 1, "the line has more than " + std::to_string(longestLine) + " bytes");
    current += static_cast<char>(byte);
}

void CTextFile::endLine()
{
    if (!current.empty() && current.back() == '\r')
        current.pop_back();
    lines.push_back(current);
    current.clear();
}

void CTextFile::fail(std::size_t line, const std::string& reason) const { throw CInputError(filePath, line, reason); }

} // namespace PumpStation
