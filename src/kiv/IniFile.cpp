#include <kiv/IniFile.h>

#include <chrono>
#include <deque>
#include <mutex>
#include <string_view>
#include <utility>

#include <kiv/Mutex.h>

#include "kiv/files/FileUpdate.h"
#include "kiv/files/IniModel.h"
#include "kiv/files/IniParser.h"

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
CIniKeyEntry& keepForGood(CIniKeyEntry key)
{
    static CMutex& lock = *new CMutex;
    static auto& kept = *new std::deque<CIniKeyEntry>;
    key.object(); // the text that it stands in goes with the model
    const std::lock_guard<CMutex> guard(lock);
    return kept.emplace_back(std::move(key));
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

void CIniFileSectionPrivate::appendTo(std::string& output) const
{
    output += comment;
    output += '[';
    output += name;
    output += "]\n";
    for (const CIniKeyEntry& key : keys.entries())
        key.appendTo(output);
    output += '\n';
}

CIniFileSection::CIniFileSection(const std::string& name, const std::string& comment)
    : d(std::make_unique<CIniFileSectionPrivate>(name, comment))
{}

CIniFileSection::~CIniFileSection() = default;

const std::string& CIniFileSection::sectionName() const { return d->name; }

CIniFileKey* CIniFileSection::findKey(const std::string& name) const
{
    CIniKeyEntry* const found = d->keys.find(name);
    return found ? &found->object() : nullptr;
}

bool CIniFileSection::containsKey(const std::string& name) const { return d->keys.find(name) != nullptr; }

int CIniFileSection::addKey(const std::string& name, const std::string& value, const std::string& comment)
{
    d->keys.append(CIniKeyEntry(std::make_unique<CIniFileKey>(name, value, comment)));
    return 0;
}

int CIniFileSection::removeKey(const std::string& name)
{
    d->keys.detach(name, keepForGood);
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

const CIniKeyEntry* CIniFilePrivate::find(const std::string& section, const std::string& key)
{
    CIniSectionEntry* const found = sections.find(section);
    return found ? found->object().d->keys.find(key) : nullptr;
}

std::string CIniFilePrivate::text() const
{
    std::string all;
    for (const CIniSectionEntry& section : sections.entries())
        section.appendTo(all);
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
    reader.readAll(d->onDisk.size());
    d->texts.push_back(reader.takeText());
    const CScopedValue<CLineReader*> current(d->reader, &reader);
    CIniParser parser(d->sections, d->pendingComment);
    for (TextRange line = reader.read(); line.begin != line.end; line = reader.read())
        parser.parse(line);
    parser.finish();
    return reader.hasFailed() ? negated(codeIoError) : 0;
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
    if (!d->reader)
        return negated(codeIoError);
    const TextRange next = d->reader->read();
    line.assign(next.begin, next.end);
    return line.empty() && d->reader->hasFailed() ? negated(codeIoError) : 0;
}

void CIniFile::clear()
{
    d->sections.clear();
    d->texts.clear();
}

CIniFileSection* CIniFile::addSection(const std::string& name, const std::string& comment)
{
    auto section = std::make_unique<CIniFileSection>(name, comment);
    CIniFileSection* const added = section.get();
    d->sections.append(CIniSectionEntry(std::move(section)));
    return added;
}

int CIniFile::eraseSection(const std::string& name)
{
    d->sections.remove(name);
    return 0;
}

bool CIniFile::existsSection(const std::string& name) const { return d->sections.find(name) != nullptr; }

CIniFileSection* CIniFile::findSection(const std::string& name) const
{
    CIniSectionEntry* const found = d->sections.find(name);
    return found ? &found->object() : nullptr;
}

bool CIniFile::existsKey(const std::string& section, const std::string& key) const
{
    return d->find(section, key) != nullptr;
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
    return d->sections.at(index).object().sectionName();
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
    if (index == found->d->keys.size())
        static_cast<void>(found->d->keys.entries().at(index)); // throws
    return found->d->keys.at(index).object().getKeyName();
}

int CIniFile::deleteKey(const std::string& section, const std::string& key)
{
    CIniFileSection* found = findSection(section);
    return found ? found->removeKey(key) : 0;
}

} // namespace Kiv
