/// Replaces a file as a whole: after a crash there is the old one or the new one, never a part.
#ifndef KIV_TOOLS_FILEREPLACEMENT_H
#define KIV_TOOLS_FILEREPLACEMENT_H

#include <string>

namespace Tool
{

/// A new file beside the old one, with the same owner and mode, that takes its place at commit() and is removed
/// otherwise. A symbolic link stays one: what it leads to is replaced. Other hard links keep the old content.
///
/// Errors: all failures end the program; the old file is then as it was.
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

    std::string oldPath;
    std::string newPath;
};

} // namespace Tool

#endif
