/// Accesses to a simulated board's model, and tables of them.
#ifndef KIV_TESTS_BOARDUSER_H
#define KIV_TESTS_BOARDUSER_H

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <fcntl.h>

#include "Board.h"

/// Programs' view of a board: paths are relative to /sys/class, an access opens and closes its file.
class CUser
{
public:
    explicit CUser(const Sim::BoardConfig& config = Sim::defaultBoard()) : board(config) {}

    int write(const std::string& path, const std::string& bytes, int flags = O_WRONLY)
    {
        std::unique_ptr<Sim::COpenFile> file;
        if (const int refusal = board.open("/sys/class/" + path, flags, file))
            return refusal;
        const int result = board.write(*file, bytes);
        board.close(std::move(file));
        return result;
    }

    /// The text, or "-EPERM" and the like.
    std::string read(const std::string& path)
    {
        std::unique_ptr<Sim::COpenFile> file;
        std::string text;
        int result = board.open("/sys/class/" + path, O_RDONLY, file);
        if (result == 0)
        {
            result = board.read(*file, 0, 4096, text);
            board.close(std::move(file));
        }
        return result < 0 ? std::string("-") + strerrorname_np(-result) : text;
    }

    std::unique_ptr<Sim::COpenFile> open(const std::string& path, int flags = O_RDWR)
    {
        std::unique_ptr<Sim::COpenFile> file;
        EXPECT_EQ(board.open("/sys/class/" + path, flags, file), 0) << path;
        return file;
    }

    Sim::CBoard board;
};

/// One access and its answer: the result of a write, or the text of a reading.
struct Row
{
    const char* path;
    std::string written;
    int result;
    std::string read;
};

inline Row wr(const char* path, const std::string& bytes) { return {path, bytes, static_cast<int>(bytes.size()), ""}; }

inline Row refused(const char* path, const std::string& bytes, int error) { return {path, bytes, -error, ""}; }

inline Row rd(const char* path, const std::string& text) { return {path, "", 0, text}; }

inline void play(CUser& user, const std::vector<Row>& rows)
{
    for (std::size_t i = 0; i < rows.size(); ++i)
    {
        SCOPED_TRACE("row " + std::to_string(i) + ": " + rows[i].path + " '" + rows[i].written + "'");
        if (rows[i].written.empty())
            EXPECT_EQ(user.read(rows[i].path), rows[i].read);
        else
            EXPECT_EQ(user.write(rows[i].path, rows[i].written), rows[i].result);
    }
}

// Attributes of the channel that most tables are about.
constexpr const char* period = "pwm/pwmchip0/pwm0/period";
constexpr const char* enable = "pwm/pwmchip0/pwm0/enable";
constexpr const char* polarity = "pwm/pwmchip0/pwm0/polarity";

#endif
