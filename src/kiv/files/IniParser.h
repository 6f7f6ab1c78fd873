/// From lines to sections and keys; private to the INI files.
#ifndef KIV_INIPARSER_H
#define KIV_INIPARSER_H

#include <cstddef>
#include <string>
#include <vector>

#include "kiv/files/IniEntries.h"
#include "kiv/files/LineReader.h"
#include "kiv/files/NamedList.h"

namespace Kiv
{

/// Appends to a model what stands in the lines of a text, which come in their order.
///
/// The text is brought into the form in which it is written, where it stands: what a section or key consists of moves
/// together, towards the begin. In a file that was written by this library nothing moves.
///
/// Threads: reentrant.
/// Errors: parse() throws std::out_of_range for a section without its bracket, after finish().
class CIniParser
{
public:
    CIniParser(CNamedList<CIniSectionEntry>& modelSections, std::string& commentAtEnd)
        : sections(modelSections), pendingComment(commentAtEnd)
    {}

    void parse(TextRange line);
    /// Puts into the model what still waits for its end.
    void finish();

private:
    void addComment(TextRange line);
    void parseSection(TextRange line);
    void parseKey(TextRange line);
    void closeSection();

    CNamedList<CIniSectionEntry>& sections;
    std::string& pendingComment;
    TextRange comment{nullptr, nullptr}; ///< waits for a section or key
    std::vector<CIniKeyEntry> keys;      ///< of the section that is being read
};

} // namespace Kiv

#endif
