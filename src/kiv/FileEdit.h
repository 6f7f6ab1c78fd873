/// Changes a file so that whoever reads it, and whatever happens meanwhile, finds the old content or the new one.
#ifndef KIV_FILEEDIT_H
#define KIV_FILEEDIT_H

#include <memory>
#include <string>
#include <string_view>

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CFileUpdate;

/// One change of one file: begin(), read() if the new content depends on the old one, replace().
///
/// replace() writes a new file beside the old one, gives it the old one's owner, mode, access list and extended
/// attributes, brings it to the medium, renames it over the old one and brings the folder to the medium. Killed at any
/// point, or without power, the old file or the new one is there, whole. Symbolic links stay, what they lead to is
/// replaced. A process that is killed leaves nothing or, in one short moment and on file systems that know only files
/// with names, `.kiv-new` in the folder, which the next change in that folder takes away.
///
/// Written in place is what cannot be replaced: a file with several hard links or without a name, one that is mounted,
/// one in a folder that does not let us create files or keep the owner, and a device. Room for all of it is reserved
/// first, it goes over the old content from the beginning, the rest of a longer old file is cut off last; after a
/// failure the old content is put back. A process killed meanwhile, or the power, can leave a part of both.
///
/// From begin() until the object goes, others that change a file of the same folder so wait: a lock (flock) on the
/// folder, so that between read() and replace() nobody's change is lost. Where locks do not work there is none. Whoever
/// may read the folder can hold its lock, therefore the wait has an end.
///
/// Threads: reentrant; two objects in two threads of one process take turns as two processes do.
/// Errors: 0 or a negated code. Unless said otherwise, the file is then as it was. SIGXFSZ and SIGPIPE do not come,
/// their writes fail. SIGINT, SIGTERM, SIGHUP and SIGQUIT wait until replace() has done, if the calling thread is the
/// only one that takes them.
class KIV_API CFileEdit
{
public:
    /// Touches nothing yet.
    explicit CFileEdit(const std::string& path);
    CFileEdit(const CFileEdit&) = delete;
    CFileEdit& operator=(const CFileEdit&) = delete;
    ~CFileEdit();

    /// Waits up to `patience` ms for the lock and opens the file; once per object. A file that is not there is no
    /// failure, one that may not be written is. -16 (device or resource busy) when somebody kept the lock all the time.
    ErrCode begin(unsigned long patience = 2000);

    /// False when there is no file yet; after begin().
    bool exists() const;

    /// The whole content, empty where there is no file. After begin().
    ErrCode read(std::string& content) const;

    /// Makes `content` the content of the file; a new file gets the mode that new files have. After begin(), also
    /// several times. A failure of the folder's flush is told, too, although the new file is in its place by then.
    ErrCode replace(std::string_view content);

private:
    std::unique_ptr<CFileUpdate> d;
};

} // namespace Kiv

#endif
