/// The insides of CIniFile and CIniFileSection; private to the INI files.
#ifndef KIV_INIMODEL_H
#define KIV_INIMODEL_H

#include <memory>
#include <string>
#include <vector>

#include <kiv/IniFile.h>

#include "kiv/files/FileStamp.h"
#include "kiv/files/IniEntries.h"
#include "kiv/files/LineReader.h"
#include "kiv/files/NamedList.h"

namespace Kiv
{

class CIniFileSectionPrivate
{
public:
    CIniFileSectionPrivate(const std::string& sectionName, const std::string& sectionComment)
        : name(sectionName), comment(sectionComment)
    {}

    void appendTo(std::string& output) const;

    std::string name;
    std::string comment;
    CNamedList<CIniKeyEntry> keys;
};

class CIniFilePrivate
{
public:
    explicit CIniFilePrivate(const std::string& filePath) : path(filePath) {}

    /// Null when there is none.
    const CIniKeyEntry* find(const std::string& section, const std::string& key);
    std::string text() const;

    const std::string path;
    std::string pendingComment;                 ///< after load() what stands at the end of the file
    CLineReader* reader = nullptr;              ///< of the load() under way
    CFileStamp onDisk;                          ///< the file as load() found it or updateFile() left it
    std::vector<std::unique_ptr<char[]>> texts; ///< one for each load(); the entries point into them
    CNamedList<CIniSectionEntry> sections;
};

} // namespace Kiv

#endif
