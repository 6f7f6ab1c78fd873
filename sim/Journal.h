/// What programs did with the board's files, access by access.
#ifndef KIV_SIM_JOURNAL_H
#define KIV_SIM_JOURNAL_H

#include <deque>
#include <string>
#include <string_view>

namespace Sim
{

/// Lines of text, one for each access in the order of arrival: OPERATION PATH DATA RESULT.
///
/// OPERATION is open, read, write or close. DATA is r, w or rw for open, the bytes written or read in hexadecimal, or
/// "-" where there is nothing. RESULT is the number of bytes, 0 for open and close, or a name such as -EBUSY.
///
/// The latest 65,536 lines are kept. Threads, errors: as CNode.
class CJournal
{
public:
    void add(std::string_view operation, const std::string& path, std::string_view data, int result);
    /// The same with the bytes in hexadecimal.
    void addBytes(std::string_view operation, const std::string& path, std::string_view bytes, int result);
    void clear() { lines.clear(); }
    std::string text() const;

private:
    std::deque<std::string> lines;
};

} // namespace Sim

#endif
