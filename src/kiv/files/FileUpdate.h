/// Gives a file new content, as a whole where that is possible; private to what saves files.
#ifndef KIV_FILEUPDATE_H
#define KIV_FILEUPDATE_H

#include <chrono>
#include <string>
#include <string_view>

#include <kiv/err_codes.h>

#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/files/FileStamp.h"

namespace Kiv
{

/// What CFileEdit says of itself holds here.
///
/// Threads: reentrant.
/// Errors: 0 or a negated code.
class CFileUpdate
{
public:
    explicit CFileUpdate(const std::string& path) : givenPath(path) {}
    ~CFileUpdate() { unlock(); }
    CFileUpdate(const CFileUpdate&) = delete;
    CFileUpdate& operator=(const CFileUpdate&) = delete;

    /// Takes the lock and opens the file.
    ErrCode begin(std::chrono::milliseconds patience);
    /// After begin().
    bool exists() const { return file.isOpen(); }
    ErrCode read(std::string& content) const;
    ErrCode replace(std::string_view content);
    /// Of the file as begin() found it or replace() left it.
    CFileStamp stamp() const { return file.isOpen() ? CFileStamp::of(file.get()) : CFileStamp(); }

private:
    int findTarget();
    int lock(std::chrono::steady_clock::time_point end);
    void unlock();
    int openTarget();
    bool canBeReplaced() const;
    int replaceWhole(std::string_view content);
    int replaceInPlace(std::string_view content);

    const std::string givenPath;
    std::string target; ///< where symbolic links lead
    bool isRegular = true;
    bool isLocked = false;
    std::chrono::steady_clock::time_point patienceEnd;
    CDescriptor folder; ///< of the target; the lock is on it
    CDescriptor file;   ///< the target; none before the first replace() of a new file
};

} // namespace Kiv

#endif
