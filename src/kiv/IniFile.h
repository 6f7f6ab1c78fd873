/// INI files: sections and keys in file order with their comments, typed values, and the way from and to disk.
#ifndef KIV_INIFILE_H
#define KIV_INIFILE_H

#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CIniFileSectionPrivate;
class CIniFilePrivate;
class CIniSectionEntry;

/// What the parser trims: blank, tab, line feed, carriage return.
extern KIV_API const std::string WhiteSpace;
/// The characters that begin a comment line, for callers; the parser has them built in.
extern KIV_API const std::string CommentIndicators;
/// "=:", for callers. In a file only '=' separates a key from its value.
extern KIV_API const std::string EqualIndicators;

/// Removes the leading run of characters that occur in `chars`. A string of nothing else stays as it is.
KIV_API void TrimLeft(std::string& s, const std::string& chars);
/// Removes the trailing run of characters that occur in `chars`. A string of nothing else stays as it is.
KIV_API void TrimRight(std::string& s, const std::string& chars);

/// One key of a section: name, value, and the comment lines that stand before it.
///
/// Threads: reentrant.
/// Errors: none.
class KIV_API CIniFileKey
{
public:
    /// The comment is written as it is: each of its lines brings its ';' or '#' and its line break.
    CIniFileKey(const std::string& name, const std::string& value, const std::string& comment);

    /// As in the file, trimmed; comment() is as it was given to the constructor.
    const std::string& getKeyName() const { return name; }
    const std::string& value() const { return text; }
    const std::string& comment() const { return commentLines; }

    /// Writes comment, "name=value" and a line feed; nothing to a null stream. Always 0: ask the stream for errors.
    int writeToFile(std::FILE* file);

private:
    friend class CIniFile;

    std::string name;
    std::string commentLines;
    std::string text;
};

/// One section: its keys in file order, and a way to them by name.
///
/// A name that is added twice is kept and written twice; lookups reach the first. Names are compared byte by byte.
/// removeKey() takes a key out of the list only: it is no longer written nor counted, yet findKey() still reaches it,
/// values written to it stay in memory, and a key of the same name added later is never found. Callers rely on this:
/// a pointer to a removed key stays good until the process ends. So each removal costs a little memory for good.
///
/// Threads: reentrant; one thread at a time for readers too, since the first lookup builds an index.
/// Errors: none.
class KIV_API CIniFileSection
{
public:
    /// The comment is written as it is, as for CIniFileKey.
    CIniFileSection(const std::string& name, const std::string& comment);
    CIniFileSection(const CIniFileSection&) = delete;
    CIniFileSection& operator=(const CIniFileSection&) = delete;
    /// Deletes the keys of the list.
    virtual ~CIniFileSection();

    /// As in the file, trimmed.
    const std::string& sectionName() const;

    /// The first key that was added under this name, or null. The section keeps ownership.
    CIniFileKey* findKey(const std::string& name) const;
    bool containsKey(const std::string& name) const;

    /// Appends a key, also when the name is there already. Always 0.
    int addKey(const std::string& name, const std::string& value, const std::string& comment);

    /// Takes the key that findKey() reaches out of the list; nothing when that was done before. Always 0.
    int removeKey(const std::string& name);

    /// Writes comment, "[name]", the keys and an empty line; nothing to a null stream. Always 0: ask the stream for
    /// errors.
    int writeToFile(std::FILE* file);

private:
    friend class CIniFile;
    friend class CIniFilePrivate;
    friend class CIniSectionEntry;
    std::unique_ptr<CIniFileSectionPrivate> d;
};

/// An INI file in memory: load() reads it, reads and writes work on the model, updateFile() writes all of it back.
/// For settings that people edit, CSettings is the safe sibling: it refuses what the reads here take for something
/// else.
///
/// A line is a comment when it begins with ';' or '#', a section when it begins with '[', a key when it has a '=';
/// blanks around lines, names and values do not count, other lines are dropped. Comment lines stay with the section or
/// key that follows them, those at the end with the file. A ':' separates nothing. Text after the last ']' of a section
/// line belongs to the name ("[abc] x" is "abc x"). Keys before the first section are dropped; their comment goes to
/// what comes next. Lines may have any length and hold any byte, NUL too; CR LF is read, and written again in comments
/// only.
///
/// Written are comments, sections and keys in list order, a key as "name=value" without blanks, an empty line after
/// each section and one at the end. Nothing is escaped: names and values with line breaks, names with '=' or outer
/// blanks do not come back as they were.
///
/// Names of sections and keys are case-sensitive. Section names given twice are kept twice; lookups reach the first.
/// Pointers and references to sections and keys are good until the section is erased or the model cleared; deleted
/// keys stay good until the process ends (see CIniFileSection). Programs that are started meanwhile do not inherit a
/// file that is being read or written.
///
/// Memory: a loaded file stays as one block of text until clear() or the end of the model; with the places of its keys
/// it takes less than twice the file. A key that findKey() returned has strings of its own.
///
/// Threads: reentrant; one thread at a time for readers too, since the first lookup builds an index.
/// Errors: a file operation returns 0 or a negated code, -2 as 0xFFFFFFFE. Reads return the caller's default for what
/// is missing or does not parse. A '[' line without ']' makes load() throw std::out_of_range.
class KIV_API CIniFile
{
public:
    /// Touches no disk; `path` is the file of every load() and updateFile().
    explicit CIniFile(const std::string& path);
    CIniFile(const CIniFile&) = delete;
    CIniFile& operator=(const CIniFile&) = delete;
    /// Deletes the sections; saves nothing.
    virtual ~CIniFile();

    /// Appends the file's sections to the model; call clear() first to read a file anew.
    ///
    /// 0; -2 when the file cannot be opened (the model stays as it is); -5 on a read error, a directory for instance.
    /// What was read before an error or an exception stays in the model. The file is closed in every case.
    ErrCode load();

    /// Writes the whole model to the file, over whatever stands there by then: ask changedOnDisk() before, if people
    /// edit the file while the program runs.
    ///
    /// The file is replaced as a whole and brought to the medium: at any moment, and whatever ends the program, there
    /// is the old file or the new one. Owner, mode, access list, extended attributes and symbolic links stay. What
    /// cannot be replaced is written in place, and what else there is to know of that stands at CFileEdit.
    ///
    /// 0; -2 when the file cannot be created or opened for writing; -16 (device or resource busy) when another writer
    /// has not ended within 2 s; the negated code of the system's error when writing fails, -28 for a full disk. After
    /// a failure the file is as it was; the model is not touched and can be written again.
    ErrCode updateFile();

    /// True when the file on disk is not the one any more that load() read last or updateFile() has written: somebody
    /// changed, replaced or removed it, or made one. Also true when only its attributes changed. A change of a few
    /// bytes in place, within milliseconds of our own, can go unseen.
    bool changedOnDisk() const;

    /// Stores the next line of the file that load() is reading in `line`, its line break included; an empty string at
    /// the end. 0, or -5 on a read error and when no load() is under way.
    ErrCode readLine(std::string& line);

    /// Deletes all sections. The comment at the end of the file stays.
    void clear();

    /// Appends a section, also when the name is there already, and returns it; the model owns it.
    CIniFileSection* addSection(const std::string& name, const std::string& comment);

    /// Deletes the section that findSection() reaches; after that the name reaches the next section of this name, if
    /// there is one. Always 0.
    int eraseSection(const std::string& name);

    /// True when findSection() finds it.
    bool existsSection(const std::string& name) const;
    /// Null when there is none. The model keeps ownership.
    CIniFileSection* findSection(const std::string& name) const;
    bool existsKey(const std::string& section, const std::string& key) const;
    /// Null when there is none. The model keeps ownership.
    CIniFileKey* findKey(const std::string& section, const std::string& key) const;

    /// The number of sections modulo 65,536.
    unsigned short sectionCount() const;
    /// The name at a position of the list; empty where there is none and beyond sectionCount().
    const std::string& sectionName(unsigned short index) const;
    /// -1 when there is no such section.
    std::int32_t keyCountInSection(const std::string& section) const;
    /// The name at a position of the section's list; empty for an absent section and beyond the count. The count itself
    /// as index throws std::out_of_range.
    const std::string& keyName(const std::string& section, unsigned short index) const;

    /// CIniFileSection::removeKey() of that section. Always 0.
    int deleteKey(const std::string& section, const std::string& key);

    // Values. Numbers are read and written as in the C locale, whatever locale the process has set. Text that is not
    // quite a number, "21,5" or "off", reads as something else or as the default: CSettings::read() refuses it.

    /// For what people write, CSettings::add() of an integer is the safe sibling: here "5 min" is 5.
    ///
    /// Decimal, "0x" hexadecimal, or octal after a '0' ("010" is 8, "08" and "0X1F" are 0); after a sign decimal only
    /// ("-0x10" is 0); text after the number does not count. A decimal number beyond the range reads as the nearest
    /// long, any other as -1.
    long readInteger(std::string section, std::string key, long defaultValue) const;
    /// CSettings::add() of a bool is the safe sibling: it takes "off", which is the default here.
    ///
    /// True for any integer but 0; words such as "true" do not parse.
    bool readBool(std::string section, std::string key, bool defaultValue) const;
    /// CSettings::add() of a number is the safe sibling: it refuses "21,5", which is 21 here.
    ///
    /// "2.5", "-1e3", also "inf" and "nan"; text after the number does not count, so "0,5" is 0.
    double readFloat(std::string section, std::string key, double defaultValue) const;
    /// Month-day-year, "03-15-2024", any numbers of at most two, two and four digits. The fields other than tm_mon,
    /// tm_mday and tm_year are the default's, which is not changed.
    std::tm readDate(std::string section, std::string key, std::tm& defaultValue) const;
    /// "07:30PM" or "07:30AM"; PM adds 12 in every case ("12:00PM" is hour 24, noon is "00:00PM"). The fields other
    /// than tm_hour and tm_min are the default's, so that a date just read can be the default. "19:30" and "7:30pm" do
    /// not parse.
    std::tm readTime(std::string section, std::string key, std::tm& defaultValue) const;
    /// Stores the value, which may be empty, or the default in `result`.
    void readString(const std::string& section, const std::string& key, const std::string& defaultValue,
                    std::string& result) const;
    /// Stores up to `size` bytes given as pairs of hexadecimal digits and returns their number. 0 for a text of odd or
    /// no length and for any other character; the bytes before that character are then stored already. 0, nothing
    /// stored, for a null buffer and a size below 1.
    int readBinaryData(const std::string& section, const std::string& key, unsigned char* buffer, int size) const;

    /// Replaces the value of the key that findKey() reaches, or appends the key, and the section where that is missing,
    /// without comment. All writes below come to this; none touches the disk.
    void writeKey(const std::string& section, const std::string& key, const std::string& value);
    void writeString(const std::string& section, const std::string& key, const std::string& value);
    /// `format` has exactly one printf conversion, for a long; of a longer result the first 63 characters count. Null
    /// writes an empty value.
    void writeIntFormated(std::string& section, std::string& key, long value, const char* format);
    void writeInteger(std::string section, std::string key, long value);
    /// "0x" and at least eight digits; a negative number has sixteen.
    void writeIntHex(std::string section, std::string key, long value);
    /// As the long of the same value.
    void writeIntHex(std::string section, std::string key, int value);
    /// "0x" and four digits, -1 as "0xFFFF".
    void writeIntHex(std::string section, std::string key, short value);
    /// "0x" and two digits.
    void writeIntHex(std::string section, std::string key, char value);
    /// A leading '0', unless the number is 0.
    void writeIntOctal(std::string section, std::string key, long value);
    /// "1" or "0".
    void writeBool(std::string section, std::string key, bool value);
    /// Six significant digits, as "%g" of printf.
    void writeFloat(std::string section, std::string key, double value);
    /// Month-day-year: "01-05-2024".
    void writeDate(std::string section, std::string key, std::tm& date);
    void writeCurrentDate(std::string section, std::string key);
    /// "07:45AM", "01:05PM", noon as "00:00PM". From noon on `time` is changed: 12 is taken from its tm_hour.
    void writeTime(std::string section, std::string key, std::tm& time);
    void writeCurrentTime(std::string section, std::string key);
    /// Two upper-case hexadecimal digits for each byte; an empty value for null data and a size below 1.
    void writeBinaryData(const std::string& section, const std::string& key, const void* data, int size);

private:
    std::unique_ptr<CIniFilePrivate> d;
};

} // namespace Kiv

#endif
