#include "IniCheck.h"

#include <algorithm>
#include <cctype>
#include <map>

#include <kiv/IniText.h>

#include "IniValueCheck.h"

namespace Tool
{

namespace
{

std::string quoted(const std::string& text) { return '"' + text + '"'; }

std::string lowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// Names seen so far, with the lines where they stand.
class CSeenNames
{
public:
    /// The line of the same name, 0 if it is new; then it is kept.
    std::size_t add(const std::string& name, std::size_t line)
    {
        const auto [place, isNew] = lines.emplace(name, line);
        if (isNew)
            lowered.emplace(lowerCase(name), line);
        return isNew ? 0 : place->second;
    }

    /// The line of a name that differs in the case of letters only, 0 if there is none.
    std::size_t inOtherCase(const std::string& name) const
    {
        const auto place = lowered.find(lowerCase(name));
        return place == lowered.end() || lines.count(name) != 0 ? 0 : place->second;
    }

private:
    std::map<std::string, std::size_t> lines;
    std::map<std::string, std::size_t> lowered;
};

class CIniChecker
{
public:
    std::vector<IniFault> check(const std::string& text)
    {
        for (const Kiv::IniLine& line : Kiv::iniLines(text))
        {
            ++number;
            checkBytes(line);
            checkMeaning(line);
            if (line.kind == Kiv::IniLineBroken)
                break; // nothing behind it is read
        }
        return std::move(faults);
    }

private:
    void report(eIniFault kind, const std::string& reason) { faults.push_back({kind, number, reason}); }

    void checkBytes(const Kiv::IniLine& line);
    void checkMeaning(const Kiv::IniLine& line);
    void checkSection(const Kiv::IniLine& line);
    void checkKey(const Kiv::IniLine& line);
    void checkOther(const Kiv::IniLine& line);

    std::vector<IniFault> faults;
    std::size_t number = 0;
    bool hasCarriageReturns = false;
    CSeenNames sections;
    CSeenNames keys; ///< of the section under way
};

void CIniChecker::checkBytes(const Kiv::IniLine& line)
{
    const std::string& text = line.text;
    if (number == 1 && text.compare(0, 3, "\xEF\xBB\xBF") == 0)
        report(IniFaultWarning, "a byte order mark stands before the first character and belongs to this line");
    if (number == 1 && (text.compare(0, 2, "\xFF\xFE") == 0 || text.compare(0, 2, "\xFE\xFF") == 0))
        report(IniFaultWarning, "the file is UTF-16; the loader reads bytes: save it as UTF-8 without mark");
    if (text.find('\0') != std::string::npos)
        report(IniFaultWarning, "a NUL byte; it belongs to the name or value");
    const std::size_t inner = text.find('\r');
    if (inner != std::string::npos && inner + 2 < text.size())
        report(IniFaultWarning, "a carriage return inside the line; only a line feed ends a line");
    if (!hasCarriageReturns && text.size() >= 2 && text.compare(text.size() - 2, 2, "\r\n") == 0)
    {
        hasCarriageReturns = true;
        report(IniFaultNote, "the line ends are CR LF; written back, only those of comments stay so");
    }
}

void CIniChecker::checkMeaning(const Kiv::IniLine& line)
{
    switch (line.kind)
    {
    case Kiv::IniLineBlank:
    case Kiv::IniLineComment:
        break;
    case Kiv::IniLineBroken:
        report(IniFaultError, "a section without ]: the file does not load");
        break;
    case Kiv::IniLineSection:
        checkSection(line);
        break;
    case Kiv::IniLineHomeless:
        report(IniFaultWarning, "ignored: the key stands before the first section");
        break;
    case Kiv::IniLineKey:
        checkKey(line);
        break;
    case Kiv::IniLineOther:
        checkOther(line);
        break;
    }
}

void CIniChecker::checkSection(const Kiv::IniLine& line)
{
    const std::size_t last = line.text.find_last_not_of(" \t\r\n");
    if (line.text[last] != ']')
        report(IniFaultWarning, "text after the last ] belongs to the name: the section is " + quoted(line.name));
    if (line.name.empty())
        report(IniFaultWarning, "the section's name is empty");
    else if (line.name.front() == ' ' || line.name.back() == ' ' || line.name.front() == '\t' ||
             line.name.back() == '\t')
        report(IniFaultWarning, "blanks inside the brackets belong to the name: the section is " + quoted(line.name));
    if (const std::size_t similar = sections.inOtherCase(line.name))
        report(IniFaultNote, "the case of letters counts: this is not the section of line " + std::to_string(similar));
    if (const std::size_t first = sections.add(line.name, number))
        report(IniFaultWarning, "no lookup reaches the keys below: section " + quoted(line.name) + " stands in line " +
                                    std::to_string(first) + " already");
    keys = CSeenNames();
}

void CIniChecker::checkKey(const Kiv::IniLine& line)
{
    if (line.name.empty())
        report(IniFaultWarning, "the key's name is empty");
    if (const std::size_t similar = keys.inOtherCase(line.name))
        report(IniFaultNote, "the case of letters counts: this is not the key of line " + std::to_string(similar));
    if (const std::size_t first = keys.add(line.name, number))
        report(IniFaultWarning, "no lookup reaches this line: key " + quoted(line.name) + " stands in line " +
                                    std::to_string(first) + " already");
    for (const std::string& reason : checkIniValue(line.value))
        report(IniFaultNote, reason);
}

void CIniChecker::checkOther(const Kiv::IniLine& line)
{
    const bool hasColon = line.text.find(':') != std::string::npos;
    report(IniFaultWarning, hasColon ? "ignored: there is no =, and a : separates nothing" : "ignored: there is no =");
}

} // namespace

std::vector<IniFault> checkIni(const std::string& text) { return CIniChecker().check(text); }

} // namespace Tool
