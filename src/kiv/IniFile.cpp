#include <kiv/IniFile.h>

#include <chrono>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include <kiv/Mutex.h>

#include "kiv/files/FileUpdate.h"
#include "kiv/files/LineReader.h"
#include "kiv/files/NamedList.h"

namespace Kiv
{

const std::string WhiteSpace = " \t\n\r";
const std::string CommentIndicators = ";#";
const std::string EqualIndicators = "=:";

namespace
{

constexpr ErrCode codeNoSuchEntity = 2;
constexpr ErrCode codeIoError = 5;
constexpr ErrCode codeBusy = 16;
constexpr std::chrono::seconds updatePatience(2); ///< while another writer has its turn

constexpr ErrCode negated(ErrCode code) { return 0u - code; }

/// Gives a variable a value for as long as this object lives, then what it had before.
template<class T>
class CScopedValue
{
public:
    CScopedValue(T& scopedVariable, T value) : variable(scopedVariable), before(std::exchange(scopedVariable, value)) {}
    ~CScopedValue() { variable = before; }
    CScopedValue(const CScopedValue&) = delete;
    CScopedValue& operator=(const CScopedValue&) = delete;

private:
    T& variable;
    const T before;
};

/// Deleted keys stay until the process ends: lookups and callers' pointers still reach them.
void keepForGood(std::unique_ptr<CIniFileKey> key)
{
    static CMutex& lock = *new CMutex;
    static auto& kept = *new std::vector<std::unique_ptr<CIniFileKey>>;
    const std::lock_guard<CMutex> guard(lock);
    kept.push_back(std::move(key));
}

void append(std::string& output, const CIniFileKey& key)
{
    output += key.comment();
    output += key.getKeyName();
    output += '=';
    output += key.value();
    output += '\n';
}

/// Sets of a few characters are searched faster so than by the library's calls.
bool isOneOf(char character, const std::string& chars)
{
    for (const char member : chars)
    {
        if (member == character)
            return true;
    }
    return false;
}

bool writeText(std::FILE* file, const std::string& text)
{
    return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

} // namespace

void TrimLeft(std::string& s, const std::string& chars)
{
    std::size_t first = 0;
    while (first < s.size() && isOneOf(s[first], chars))
        ++first;
    if (first < s.size())
        s.erase(0, first);
}

void TrimRight(std::string& s, const std::string& chars)
{
    std::size_t size = s.size();
    while (size > 0 && isOneOf(s[size - 1], chars))
        --size;
    if (size > 0)
        s.resize(size);
}

// ---- key

CIniFileKey::CIniFileKey(const std::string& keyName, const std::string& value, const std::string& comment)
    : name(keyName), commentLines(comment), text(value)
{}

int CIniFileKey::writeToFile(std::FILE* file)
{
    std::string output;
    append(output, *this);
    if (file)
        writeText(file, output);
    return 0;
}

// ---- section

static std::string_view nameOf(const CIniFileKey& key) { return key.getKeyName(); }

class CIniFileSectionPrivate
{
public:
    CIniFileSectionPrivate(const std::string& sectionName, const std::string& sectionComment)
        : name(sectionName), comment(sectionComment)
    {}

    void appendTo(std::string& output) const;

    std::string name;
    std::string comment;
    CNamedList<CIniFileKey> keys;
};

void CIniFileSectionPrivate::appendTo(std::string& output) const
{
    output += comment;
    output += '[';
    output += name;
    output += "]\n";
    for (const auto& key : keys.items())
        append(output, *key);
    output += '\n';
}

CIniFileSection::CIniFileSection(const std::string& name, const std::string& comment)
    : d(std::make_unique<CIniFileSectionPrivate>(name, comment))
{}

CIniFileSection::~CIniFileSection() = default;

const std::string& CIniFileSection::sectionName() const { return d->name; }

CIniFileKey* CIniFileSection::findKey(const std::string& name) const { return d->keys.find(name); }

bool CIniFileSection::containsKey(const std::string& name) const { return findKey(name) != nullptr; }

int CIniFileSection::addKey(const std::string& name, const std::string& value, const std::string& comment)
{
    d->keys.append(std::make_unique<CIniFileKey>(name, value, comment));
    return 0;
}

int CIniFileSection::removeKey(const std::string& name)
{
    if (const CIniFileKey* key = findKey(name))
    {
        if (std::unique_ptr<CIniFileKey> detached = d->keys.detach(key))
            keepForGood(std::move(detached));
    }
    return 0;
}

int CIniFileSection::writeToFile(std::FILE* file)
{
    std::string output;
    d->appendTo(output);
    if (file)
        writeText(file, output);
    return 0;
}

// ---- file

static std::string_view nameOf(const CIniFileSection& section) { return section.sectionName(); }

class CIniFilePrivate
{
public:
    explicit CIniFilePrivate(const std::string& filePath) : path(filePath) {}

    void parse(std::string& line);
    std::string text() const;

    const std::string path;
    std::string pendingComment;    ///< waits for a section or key; after load() what stands at the end of the file
    CLineReader* reader = nullptr; ///< of the load() under way
    CFileStamp onDisk;             ///< the file as load() found it or updateFile() left it
    CNamedList<CIniFileSection> sections;

private:
    void parseSection(std::string& line);
    void parseKey(std::string& line);

    std::string value; ///< scratch of parseKey(): keeps its memory from line to line
};

void CIniFilePrivate::parse(std::string& line)
{
    TrimLeft(line, WhiteSpace);
    if (line.empty())
        return;
    if (line[0] == ';' || line[0] == '#')
    {
        pendingComment += line;
        return;
    }
    TrimRight(line, WhiteSpace);
    if (line[0] == '[')
        parseSection(line);
    else
        parseKey(line);
}

void CIniFilePrivate::parseSection(std::string& line)
{
    line.erase(0, 1);
    line.erase(line.rfind(']'), 1); // throws std::out_of_range when there is none
    sections.append(std::make_unique<CIniFileSection>(line, pendingComment));
    pendingComment.clear();
}

void CIniFilePrivate::parseKey(std::string& line)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos || sections.size() == 0)
        return;
    value.assign(line, equals + 1);
    TrimLeft(value, WhiteSpace);
    line.erase(equals);
    TrimRight(line, WhiteSpace);
    sections.at(sections.size() - 1).addKey(line, value, pendingComment);
    pendingComment.clear();
}

std::string CIniFilePrivate::text() const
{
    std::string all;
    for (const auto& section : sections.items())
        section->d->appendTo(all);
    all += pendingComment;
    all += '\n';
    return all;
}

CIniFile::CIniFile(const std::string& path) : d(std::make_unique<CIniFilePrivate>(path)) {}

CIniFile::~CIniFile() = default;

ErrCode CIniFile::load()
{
    CLineReader reader(d->path);
    d->onDisk = reader.stamp();
    if (!reader.isOpen())
        return negated(codeNoSuchEntity);
    d->pendingComment.clear();
    const CScopedValue<CLineReader*> current(d->reader, &reader);
    std::string line;
    while (!reader.atEnd())
    {
        // Its own public function: what reads a line here is what an application reads it with.
        if (const ErrCode code = readLine(line))
            return code;
        d->parse(line);
    }
    return 0;
}

ErrCode CIniFile::updateFile()
{
    CFileUpdate update(d->path);
    if (const ErrCode code = update.begin(updatePatience))
        return code == negated(codeBusy) ? code : negated(codeNoSuchEntity);
    const ErrCode code = update.replace(d->text());
    if (code == 0)
        d->onDisk = update.stamp();
    return code;
}

bool CIniFile::changedOnDisk() const { return d->onDisk != CFileStamp::of(d->path); }

ErrCode CIniFile::readLine(std::string& line)
{
    if (d->reader && d->reader->read(line))
        return 0;
    return negated(codeIoError);
}

void CIniFile::clear() { d->sections.clear(); }

CIniFileSection* CIniFile::addSection(const std::string& name, const std::string& comment)
{
    d->sections.append(std::make_unique<CIniFileSection>(name, comment));
    return &d->sections.at(d->sections.size() - 1);
}

int CIniFile::eraseSection(const std::string& name)
{
    if (const CIniFileSection* section = findSection(name))
        d->sections.remove(section);
    return 0;
}

bool CIniFile::existsSection(const std::string& name) const { return findSection(name) != nullptr; }

CIniFileSection* CIniFile::findSection(const std::string& name) const { return d->sections.find(name); }

bool CIniFile::existsKey(const std::string& section, const std::string& key) const
{
    return findKey(section, key) != nullptr;
}

CIniFileKey* CIniFile::findKey(const std::string& section, const std::string& key) const
{
    const CIniFileSection* found = findSection(section);
    return found ? found->findKey(key) : nullptr;
}

unsigned short CIniFile::sectionCount() const { return static_cast<unsigned short>(d->sections.size()); }

const std::string& CIniFile::sectionName(unsigned short index) const
{
    static const std::string emptyString;
    if (sectionCount() < index || index >= d->sections.size())
        return emptyString;
    return d->sections.at(index).sectionName();
}

std::int32_t CIniFile::keyCountInSection(const std::string& section) const
{
    const CIniFileSection* found = findSection(section);
    return found ? static_cast<std::int32_t>(found->d->keys.size()) : -1;
}

const std::string& CIniFile::keyName(const std::string& section, unsigned short index) const
{
    static const std::string emptyString;
    const CIniFileSection* found = findSection(section);
    if (!found || index > found->d->keys.size())
        return emptyString;
    return found->d->keys.items().at(index)->getKeyName();
}

int CIniFile::deleteKey(const std::string& section, const std::string& key)
{
    CIniFileSection* found = findSection(section);
    return found ? found->removeKey(key) : 0;
}

} // namespace Kiv
