/// A new file that takes the place of an old one; private to what saves files.
#ifndef KIV_FILEREPLACEMENT_H
#define KIV_FILEREPLACEMENT_H

#include <string>
#include <string_view>

#include "kiv/env/unix/helper/SystemCall.h"

namespace Kiv
{

/// The folder in which a path's last name stands, with its '/'; "." where there is none.
std::string folderOf(const std::string& path);

/// Writes all of it, however many system calls that takes. 0, or errno.
int writeAll(int descriptor, std::string_view content);

/// Brings a file to the medium. 0, or errno; a file that needs none of that, a device say, is no failure.
int flushToMedium(int descriptor);

/// A new file in the folder of the old one, with the same owner, mode, access list and extended attributes, that takes
/// its place at commit() and is gone otherwise.
///
/// Where the file system can do so, it has no name before commit(), and a killed process leaves nothing. A name that
/// one left all the same, in commit() or elsewhere, is taken over by the next replacement in that folder.
///
/// Threads: reentrant.
/// Errors: 0 or errno; the old file is then as it was.
class CFileReplacement
{
public:
    /// `target` is no symbolic link. Under a lock that every replacement in the folder takes, one name serves all.
    CFileReplacement(const std::string& target, bool isLocked);
    ~CFileReplacement();
    CFileReplacement(const CFileReplacement&) = delete;
    CFileReplacement& operator=(const CFileReplacement&) = delete;

    /// Makes the file and brings its content to the medium. `old` is the open old file, -1 for none.
    int prepare(int old, std::string_view content);
    int commit();
    /// The new file, open for writing, for a caller who closes it.
    CDescriptor release() { return std::move(file); }

private:
    int makeFile(bool hasOld);
    int makeNamed(mode_t mode);

    const std::string path;
    std::string newPath;
    CDescriptor file;
    bool hasName = false;
};

} // namespace Kiv

#endif
