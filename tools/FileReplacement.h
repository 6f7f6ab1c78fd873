/// Replaces a file as a whole: after a crash there is the old one or the new one, never a part.
#ifndef KIV_TOOLS_FILEREPLACEMENT_H
#define KIV_TOOLS_FILEREPLACEMENT_H

#include <csignal>
#include <string>

namespace Tool
{

/// While this lives, other processes that edit a file of the same folder so wait: between reading a file and replacing
/// it nobody's change is lost. Where locks do not work there is none.
class CEditLock
{
public:
    explicit CEditLock(const std::string& path);
    ~CEditLock();
    CEditLock(const CEditLock&) = delete;
    CEditLock& operator=(const CEditLock&) = delete;

private:
    int folder;
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

/// A new file beside the old one, with the same owner and mode, that takes its place at commit() and is removed
/// otherwise, also when a signal comes. A symbolic link stays one: what it leads to is replaced. Other hard links keep
/// the old content.
///
/// Errors: all failures end the program; the old file is then as it was. Who may not write the old file may not replace
/// it either.
class CFileReplacement
{
public:
    /// The old file must be there unless `mayCreate`.
    CFileReplacement(const std::string& path, const std::string& content, bool mayCreate);
    ~CFileReplacement();
    CFileReplacement(const CFileReplacement&) = delete;
    CFileReplacement& operator=(const CFileReplacement&) = delete;

    /// Where the new content stands before commit().
    const std::string& path() const { return newPath; }
    void commit();

private:
    void takeOverOwner(int descriptor, bool mayCreate) const;

    const CHeldSignals signals;
    std::string oldPath;
    std::string newPath;
};

} // namespace Tool

#endif
