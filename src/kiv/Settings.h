/// Settings of a program: described once, in code; read strictly from an INI file into the program's own variables.
#ifndef KIV_SETTINGS_H
#define KIV_SETTINGS_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <ratio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <kiv/KivDateTime.h>
#include <kiv/err_codes.h>
#include <kiv/kiv_export.h>

namespace Kiv
{

class CSettingsPrivate;
class CSettingsReader;
struct SettingItem;

/// What a person writes into the file for a setting.
enum eSettingKind : int
{
    SettingInteger,   ///< 12, -3, 0x1F
    SettingReal,      ///< 21.5, 1e3
    SettingTruth,     ///< on, off, yes, no, true, false, 1, 0
    SettingText,      ///< whatever stands there
    SettingChoice,    ///< one of several names
    SettingDuration,  ///< 250 ms, 5 min, 1.5 h
    SettingTimeOfDay, ///< 03:30 or 03:30:15
    SettingDateTime,  ///< 2026-03-01 17:04:05 in local time, without seconds, or the date alone
    SettingFree       ///< all keys of a section, whatever their names
};

/// A value between a file and a variable: which member counts is a matter of the kind.
struct SettingValue
{
    std::int64_t number = 0; ///< integer, truth, choice; a duration in nanoseconds; seconds since midnight or 1970
    double real = 0;         ///< of reals
    std::string text;        ///< of texts
};

/// A key of a section whose keys are the user's.
struct SettingsEntry
{
    std::string key;   ///< as it stands in the file
    std::string value; ///< the same
};

/// True if both are the same.
inline bool operator==(const SettingsEntry& a, const SettingsEntry& b) { return a.key == b.key && a.value == b.value; }

/// Something wrong in a file.
struct KIV_API SettingsFault
{
    std::string file;    ///< its path
    std::size_t line;    ///< from 1; for what is missing, where it should stand
    std::string section; ///< its name
    std::string key;     ///< empty where the fault is not one of a key
    std::string found;   ///< what stands there
    std::string reason;  ///< what is wrong with it, and what is allowed

    /// "pump.ini:12: [Heater] Limit = 21,5: is no number: the decimal sign is a point; allowed: 0 to 45 degC"
    std::string text() const;
};

/// What the last read() has changed.
struct SettingsChange
{
    std::string section; ///< where it stands
    std::string key;     ///< its name
    std::string before;  ///< as text; empty if it was not there
    std::string after;   ///< the same
};

/// One setting, to be described further.
///
/// Threads, errors: as CSettings.
class KIV_API CSetting
{
public:
    /// It must be in the file, and a text must not be empty. Without this, a key that is missing has its default: the
    /// value that the variable had when it was added.
    CSetting& required();
    /// The smallest and the largest value, in the unit of the file.
    CSetting& range(double least, double most);
    CSetting& range(std::chrono::nanoseconds least, std::chrono::nanoseconds most);
    /// For people, "m" say; who writes it behind the number is understood.
    CSetting& unit(const char* name);
    /// The variable gets the file's number times this, rounded if it is of an integer type: metres to millimetres.
    CSetting& scale(double factor);

private:
    friend class CSettings;
    explicit CSetting(SettingItem& describedItem) : item(&describedItem) {}

    SettingItem* item;
};

/// The settings of a program. Describe each one once, with the variable that takes its value; then read() fills all of
/// them from a file or none, and the values are plain variables: no look-up by text while the program runs.
///
///     Kiv::CSettings settings("What the heater does.");
///     settings.section("Heater", "The heater of the tank.");
///     settings.add("SetPoint", heater.setPoint, "It is switched off above this.").range(5, 60).unit("degC");
///     settings.add("Pause", heater.pause, "At least so long it stays off.").range(1s, 1h);
///     if (settings.read(path) != 0)
///         std::cerr << settings.faultText();
///
/// Reading is strict. Refused, each with line and reason, all in one pass: what is missing and required, `21,5`,
/// `12abc`, a number with a 0 in front, a unit where none belongs, a duration without one, what is out of range, names
/// that nobody described (with the nearest one that somebody did), names given twice, lines that mean nothing. For what
/// programs exchange among themselves, CIniFile takes what it can use and passes over the rest.
///
/// The description also prints itself: as an INI file with the sentences as comments, as a table for documents, and as
/// a schema that `kiv ini check --schema` checks files with elsewhere.
///
/// Threads: reentrant; the variables are written inside read() and read inside save() and the prints.
/// Errors: 0 or a negated code; -22 (invalid argument) when there are faults().
/// Variables, names and sentences: the variables must outlive this, or be read no more; texts are copied.
class KIV_API CSettings
{
public:
    /// `about` is a sentence on the whole of it.
    explicit CSettings(const std::string& about = std::string());
    CSettings(const CSettings&) = delete;
    CSettings& operator=(const CSettings&) = delete;
    ~CSettings();

    // Describing, before the first read().

    /// The settings added next belong to this section.
    void section(const std::string& name, const std::string& about = std::string());
    /// A bool, an integer or floating-point number, a std::string, a std::chrono::duration or a CDateTime; its value
    /// now is the default. `about` is a sentence for people.
    template<class T>
    CSetting add(const std::string& key, T& variable, const std::string& about);
    /// One of several names, for an enumeration or a number.
    template<class T>
    CSetting addChoice(const std::string& key, T& variable, const std::vector<std::pair<std::string, T>>& choices,
                       const std::string& about);
    /// A std::chrono::duration since midnight; up to 99:59:59 for what lasts beyond it.
    template<class Duration>
    CSetting addTimeOfDay(const std::string& key, Duration& variable, const std::string& about);
    /// All keys of a section, in their order: their names are the user's. addCheck() is the place to look at them.
    void addFree(const std::string& section, std::vector<SettingsEntry>& entries, const std::string& about);
    /// Called by read() when all values are right by themselves and stand in the variables: call fail() for what does
    /// not go together. After a fail() the variables have their former values again.
    void addCheck(const std::function<void(CSettings&)>& check);
    /// Adds what a schema describes: values are checked then, and go nowhere. -22 with faults() of the schema, or why
    /// it could not be read.
    ErrCode readSchema(const std::string& path);

    // Reading.

    /// Reads the whole file. 0: every variable has the value of the file, or its default. -22: the file is not right,
    /// faults() says where, and no variable has changed. -2, -13, ...: the file cannot be read, no variable has
    /// changed; -27 when it has more than 16 MiB.
    ErrCode read(const std::string& path);
    /// Of the last read() or readSchema(), in the order of the lines.
    const std::vector<SettingsFault>& faults() const;
    /// All faults, a line for each.
    std::string faultText() const;
    /// What the last read() that returned 0 has changed against the values before, in the order of the description.
    const std::vector<SettingsChange>& changes() const;
    /// True when somebody has changed, replaced or removed the file since read() or save(); false before the first
    /// read(). CIniFile::changedOnDisk() says how sure this is.
    bool changedOnDisk() const;

    /// In a check: the value of this variable is wrong. `reason` follows the value, "does not lie above Stop" say.
    void fail(const void* variable, const std::string& reason);
    /// In a check: a key is wrong, of a free section say.
    void fail(const std::string& section, const std::string& key, const std::string& reason);

    // Writing.

    /// Writes the variables that have changed since read() or save() into the file of the last read(), in the place of
    /// their old values; every other byte of it stays, also what a person changed meanwhile. The file is replaced as
    /// CFileEdit does it. -22: a variable has a value that read() would refuse; nothing is written.
    ErrCode save();
    /// Writes iniText() to a file that is not there yet; -17 (entity exists) when it is.
    ErrCode create(const std::string& path) const;

    // The description itself, with the defaults.

    /// As an INI file with all sentences as comments. What is required has an empty value.
    std::string iniText() const;
    /// As tables in Markdown, one for each section.
    std::string tableText() const;
    /// For readSchema() and `kiv ini check --schema`.
    std::string schemaText() const;

private:
    using Getter = std::function<SettingValue()>;
    using Setter = std::function<void(const SettingValue&)>;
    using Names = std::vector<std::pair<std::string, std::int64_t>>;

    /// Of integer types, what the variable can hold; of durations, its tick in nanoseconds.
    struct Limits
    {
        std::int64_t least = std::numeric_limits<std::int64_t>::min();
        std::int64_t most = std::numeric_limits<std::int64_t>::max();
        std::int64_t tick = 1;
    };
    template<class T>
    static constexpr Limits limitsOf();
    template<class Duration>
    static constexpr Limits limitsOfDuration();
    template<class T>
    static Getter numberGetter(T& variable)
    {
        return [&variable] { return SettingValue{static_cast<std::int64_t>(variable), 0, std::string()}; };
    }
    template<class Duration>
    static Getter durationGetter(Duration& variable, std::int64_t unit);
    template<class Duration>
    static Setter durationSetter(Duration& variable, std::int64_t unit);

    CSetting addItem(eSettingKind kind, const std::string& key, const std::string& about, const void* variable,
                     const Limits& limits, const Getter& get, const Setter& set, const Names& names = Names());

    KIV_LOCAL void apply(CSettingsReader& reader);
    KIV_LOCAL void noteChange(const std::string& section, const std::string& key, const std::string& before,
                              const std::string& after);
    KIV_LOCAL ErrCode write(const std::vector<SettingItem*>& changed);

    std::unique_ptr<CSettingsPrivate> d;
};

// ---- the templates

namespace SettingTypes
{
template<class T>
struct IsDuration : std::false_type
{};
template<class Rep, class Period>
struct IsDuration<std::chrono::duration<Rep, Period>> : std::true_type
{};
} // namespace SettingTypes

template<class T>
constexpr CSettings::Limits CSettings::limitsOf()
{
    Limits limits;
    if constexpr (sizeof(T) < sizeof(std::int64_t) || std::is_signed_v<T>)
    {
        limits.least = std::numeric_limits<T>::min();
        limits.most = std::numeric_limits<T>::max();
    }
    else
    {
        limits.least = 0; // numbers beyond the largest signed one have no place in a file of settings
    }
    return limits;
}

/// The tick is that of the period, at least a nanosecond; a floating-point duration holds any.
template<class Duration>
constexpr CSettings::Limits CSettings::limitsOfDuration()
{
    using Rep = typename Duration::rep;
    using Period = typename Duration::period;
    Limits limits;
    if constexpr (!std::is_floating_point_v<Rep>)
    {
        constexpr std::intmax_t tick = std::nano::den / Period::den * Period::num;
        limits.tick = tick > 0 ? tick : 1;
        if constexpr (sizeof(Rep) < sizeof(std::int64_t))
            limits.most = std::int64_t{std::numeric_limits<Rep>::max()} * limits.tick;
    }
    return limits;
}

template<class Duration>
CSettings::Getter CSettings::durationGetter(Duration& variable, std::int64_t unit)
{
    return [&variable, unit] {
        SettingValue value;
        value.number = std::chrono::duration_cast<std::chrono::nanoseconds>(variable).count() / unit;
        return value;
    };
}

template<class Duration>
CSettings::Setter CSettings::durationSetter(Duration& variable, std::int64_t unit)
{
    return [&variable, unit](const SettingValue& value) {
        variable = std::chrono::duration_cast<Duration>(std::chrono::nanoseconds(value.number * unit));
    };
}

template<class T>
CSetting CSettings::add(const std::string& key, T& variable, const std::string& about)
{
    if constexpr (std::is_same_v<T, bool>)
        return addItem(SettingTruth, key, about, &variable, Limits(), numberGetter(variable),
                       [&variable](const SettingValue& value) { variable = value.number != 0; });
    else if constexpr (std::is_integral_v<T>)
        return addItem(SettingInteger, key, about, &variable, limitsOf<T>(), numberGetter(variable),
                       [&variable](const SettingValue& value) { variable = static_cast<T>(value.number); });
    else if constexpr (std::is_floating_point_v<T>)
        return addItem(
            SettingReal, key, about, &variable, Limits(),
            [&variable] {
                return SettingValue{0, static_cast<double>(variable), std::string()};
            },
            [&variable](const SettingValue& value) { variable = static_cast<T>(value.real); });
    else if constexpr (std::is_same_v<T, std::string>)
        return addItem(
            SettingText, key, about, &variable, Limits(),
            [&variable] {
                return SettingValue{0, 0, variable};
            },
            [&variable](const SettingValue& value) { variable = value.text; });
    else if constexpr (std::is_same_v<T, CDateTime>)
        return addItem(
            SettingDateTime, key, about, &variable, Limits(),
            [&variable] {
                return SettingValue{static_cast<std::int64_t>(variable.c_time()), 0, std::string()};
            },
            [&variable](const SettingValue& value) { variable = CDateTime(static_cast<std::time_t>(value.number)); });
    else
    {
        static_assert(SettingTypes::IsDuration<T>::value,
                      "no setting can have this type; for enumerations: addChoice()");
        return addItem(SettingDuration, key, about, &variable, limitsOfDuration<T>(), durationGetter(variable, 1),
                       durationSetter(variable, 1));
    }
}

template<class T>
CSetting CSettings::addChoice(const std::string& key, T& variable,
                              const std::vector<std::pair<std::string, T>>& choices, const std::string& about)
{
    Names names;
    for (const auto& choice : choices)
        names.emplace_back(choice.first, static_cast<std::int64_t>(choice.second));
    return addItem(
        SettingChoice, key, about, &variable, Limits(), numberGetter(variable),
        [&variable](const SettingValue& value) { variable = static_cast<T>(value.number); }, names);
}

template<class Duration>
CSetting CSettings::addTimeOfDay(const std::string& key, Duration& variable, const std::string& about)
{
    constexpr std::int64_t second = 1000000000;
    return addItem(SettingTimeOfDay, key, about, &variable, Limits(), durationGetter(variable, second),
                   durationSetter(variable, second));
}

} // namespace Kiv

#endif
