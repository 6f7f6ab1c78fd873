/// Replaces a file as a whole: after a crash there is the old one or the new one, never a part.
#ifndef KIV_TOOLS_FILEREPLACEMENT_H
#define KIV_TOOLS_FILEREPLACEMENT_H

#include <chrono>
#include <csignal>
#include <string>

namespace Tool
{

/// While this lives, other processes that edit a file of the same folder so wait: between reading a file and replacing
/// it nobody's change is lost. Where locks do not work there is none.
///
/// Errors: whoever may read the folder can hold its lock, so the wait has a limit; behind it the program ends.
class CEditLock
{
public:
    explicit CEditLock(const std::string& path, std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~CEditLock();
    CEditLock(const CEditLock&) = delete;
    CEditLock& operator=(const CEditLock&) = delete;

    /// The file itself, where symbolic links lead.
    const std::string& path() const { return target; }
    /// False where locks do not work.
    bool isHeld() const { return isLocked; }

private:
    std::string target;
    int folder;
    bool isLocked = false;
};

/// While this lives, signals that end the process are kept for later.
class CHeldSignals
{
public:
    CHeldSignals();
    ~CHeldSignals();
    CHeldSignals(const CHeldSignals&) = delete;
    CHeldSignals& operator=(const CHeldSignals&) = delete;

private:
    sigset_t before;
};

/// A new file in the folder of the old one, with the same owner and mode, that takes its place at commit() and is gone
/// otherwise, also when a signal comes. A symbolic link stays one: what it leads to is replaced. Other hard links keep
/// the old content.
///
/// Where the file system can do so, the new file has no name before commit() and a killed process leaves nothing. A
/// name that one left all the same, in commit() or elsewhere, is taken over by the next one in that folder.
///
/// Errors: all failures end the program; the old file is then as it was. Who may not write the old file may not replace
/// it either.
class CFileReplacement
{
public:
    /// The old file must be there unless `mayCreate`. The lock must outlive this.
    CFileReplacement(const CEditLock& lock, const std::string& content, bool mayCreate);
    ~CFileReplacement();
    CFileReplacement(const CFileReplacement&) = delete;
    CFileReplacement& operator=(const CFileReplacement&) = delete;

    /// Where the new content can be read before commit().
    std::string path() const;
    void commit();

private:
    void makeFile();
    void fill(const std::string& content, bool mayCreate) const;
    void takeOverOwner(bool mayCreate) const;
    void discard();

    const CHeldSignals signals;
    const std::string oldPath;
    const std::string newPath;
    int file = -1;
    bool hasName = false;
};

} // namespace Tool

#endif
