#include <kiv/Settings.h>

#include <algorithm>
#include <cmath>

#include <kiv/FileEdit.h>
#include <kiv/IniText.h>

#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/files/SettingItems.h"

namespace Kiv
{

namespace
{

constexpr std::size_t sizeLimit = std::size_t{16} << 20;

constexpr ErrCode negated(ErrCode code) { return 0u - code; }
constexpr ErrCode invalidArgument = negated(22);
constexpr ErrCode entityExists = negated(17);
constexpr ErrCode fileTooLarge = negated(27);

ErrCode systemFailure() { return negated(errnoToErrCode(errno)); }

ErrCode readFile(const std::string& path, std::string& text, CFileStamp& stamp)
{
    const CDescriptor file = CDescriptor::open(path.c_str(), O_RDONLY);
    if (!file.isOpen())
        return systemFailure();
    stamp = CFileStamp::of(file.get());
    char block[16384];
    while (text.size() <= sizeLimit)
    {
        const ssize_t got = uninterrupted([&] { return ::read(file.get(), block, sizeof block); });
        if (got <= 0)
            return got < 0 ? systemFailure() : 0;
        text.append(block, static_cast<std::size_t>(got));
    }
    return fileTooLarge;
}

bool isWhole(const std::string& text)
{
    const std::vector<IniLine> lines = iniLines(text);
    return std::none_of(lines.begin(), lines.end(), [](const IniLine& line) { return line.kind == IniLineBroken; });
}

} // namespace

// ---- fault and item

std::string SettingsFault::text() const
{
    std::string all = file + ':' + std::to_string(line) + ": ";
    if (!section.empty())
        all += '[' + section + "] ";
    if (!key.empty())
        all += key + ' ';
    if (!found.empty())
        all += (key.empty() ? "" : "= ") + found.substr(0, 80) + (found.size() > 80 ? "..." : "") + ": ";
    return asOneLine(all + reason);
}

SettingReading SettingItem::now() const
{
    SettingReading reading;
    if (entries)
        reading.entries = *entries;
    if (get)
        reading.value = get();
    if (rule.kind == SettingReal)
        reading.value.real =
            (rule.isRounded ? static_cast<double>(reading.value.number) : reading.value.real) / rule.scale;
    return reading;
}

void SettingItem::store(const SettingReading& reading) const
{
    if (entries)
        *entries = reading.entries;
    if (!set)
        return;
    SettingValue value = reading.value;
    if (rule.isRounded)
        value.number = std::llround(value.real * rule.scale);
    value.real *= rule.scale;
    set(value);
}

std::string readingText(const SettingRule& rule, const SettingReading& reading)
{
    if (rule.kind != SettingFree)
        return settingText(rule, reading.value);
    std::string text;
    for (const SettingsEntry& entry : reading.entries)
        text += (text.empty() ? "" : ", ") + entry.key + '=' + entry.value;
    return text;
}

SettingItem& CSettingsPrivate::addItem(const SettingRule& rule)
{
    items.push_back(std::make_unique<SettingItem>());
    items.back()->rule = rule;
    items.back()->current.value = rule.standard;
    return *items.back();
}

void CSettingsPrivate::addSection(const std::string& name, const std::string& sectionAbout)
{
    const auto known =
        std::find_if(sections.begin(), sections.end(), [&](const SettingsSection& one) { return one.name == name; });
    if (known == sections.end())
        sections.push_back({asOneLine(name), asOneLine(sectionAbout)});
}

std::vector<const SettingRule*> CSettingsPrivate::rules() const
{
    std::vector<const SettingRule*> all;
    for (const auto& item : items)
        all.push_back(&item->rule);
    return all;
}

std::vector<std::string> CSettingsPrivate::sectionNames() const
{
    std::vector<std::string> names;
    for (const SettingsSection& one : sections)
        names.push_back(one.name);
    return names;
}

// ---- one setting

CSetting& CSetting::required()
{
    item->rule.isRequired = true;
    return *this;
}

CSetting& CSetting::range(double least, double most)
{
    item->rule.hasRange = true;
    item->rule.leastReal = least;
    item->rule.mostReal = most;
    return *this;
}

CSetting& CSetting::range(std::chrono::nanoseconds least, std::chrono::nanoseconds most)
{
    const std::int64_t unit = item->rule.kind == SettingTimeOfDay ? 1000000000 : 1;
    item->rule.least = std::max(item->rule.least, least.count() / unit);
    item->rule.most = std::min(item->rule.most, most.count() / unit);
    return *this;
}

CSetting& CSetting::unit(const char* name)
{
    item->rule.unit = asOneLine(name);
    return *this;
}

CSetting& CSetting::scale(double factor)
{
    SettingRule& rule = item->rule;
    rule.isRounded = rule.isRounded || rule.kind == SettingInteger;
    rule.kind = SettingReal;
    rule.scale = factor;
    item->current = item->now();
    rule.standard = item->current.value;
    return *this;
}

// ---- describing

CSettings::CSettings(const std::string& about) : d(std::make_unique<CSettingsPrivate>())
{
    d->about = asOneLine(about);
}

CSettings::~CSettings() = default;

void CSettings::section(const std::string& name, const std::string& about)
{
    d->addSection(name, about);
    d->describedSection = asOneLine(name);
}

CSetting CSettings::addItem(eSettingKind kind, const std::string& key, const std::string& about, const void* variable,
                            const Limits& limits, const Getter& get, const Setter& set, const Names& names)
{
    SettingRule rule;
    rule.kind = kind;
    rule.section = d->describedSection;
    rule.key = asOneLine(key);
    rule.about = asOneLine(about);
    rule.least = limits.least;
    rule.most = limits.most;
    rule.tick = limits.tick;
    rule.choices = names;
    rule.standard = get();
    SettingItem& item = d->addItem(rule);
    item.variable = variable;
    item.get = get;
    item.set = set;
    return CSetting(item);
}

void CSettings::addFree(const std::string& section, std::vector<SettingsEntry>& entries, const std::string& about)
{
    d->addSection(section, about);
    SettingRule rule;
    rule.kind = SettingFree;
    rule.section = asOneLine(section);
    SettingItem& item = d->addItem(rule);
    item.variable = &entries;
    item.entries = &entries;
    item.current.entries = entries;
}

void CSettings::addCheck(const std::function<void(CSettings&)>& check) { d->checks.push_back(check); }

ErrCode CSettings::readSchema(const std::string& path)
{
    std::string text;
    CFileStamp stamp;
    d->faults.clear();
    if (const ErrCode code = readFile(path, text, stamp))
        return code;
    parseSchema(text, path, *d);
    return d->faults.empty() ? 0 : invalidArgument;
}

// ---- reading

ErrCode CSettings::read(const std::string& path)
{
    std::string text;
    CFileStamp stamp;
    d->faults.clear();
    d->changes.clear();
    if (const ErrCode code = readFile(path, text, stamp))
        return code;
    d->path = path;
    d->onDisk = stamp;
    d->wasRead = true;

    const std::vector<const SettingRule*> rules = d->rules();
    const std::vector<std::string> sections = d->sectionNames();
    CSettingsReader reader(rules, sections, path);
    reader.read(text);
    if (reader.faults().empty())
        apply(reader);
    d->faults = reader.faults();
    return d->faults.empty() ? 0 : invalidArgument;
}

/// The checks see the new values where the program will see them; after a fault the former ones come back.
void CSettings::apply(CSettingsReader& reader)
{
    std::vector<SettingReading> before;
    for (std::size_t i = 0; i < d->items.size(); ++i)
    {
        before.push_back(d->items[i]->now());
        d->items[i]->store(reader.readings()[i]);
    }
    d->reader = &reader;
    for (const auto& check : d->checks)
        check(*this);
    d->reader = nullptr;
    reader.sort();
    for (std::size_t i = 0; i < d->items.size(); ++i)
    {
        SettingItem& item = *d->items[i];
        if (!reader.faults().empty())
            item.store(before[i]);
        else
            noteChange(item.rule.section, item.rule.key, readingText(item.rule, before[i]),
                       readingText(item.rule, item.current = reader.readings()[i]));
    }
}

void CSettings::noteChange(const std::string& section, const std::string& key, const std::string& before,
                           const std::string& after)
{
    if (before != after)
        d->changes.push_back({section, key, before, after});
}

const std::vector<SettingsFault>& CSettings::faults() const { return d->faults; }

std::string CSettings::faultText() const
{
    std::string text;
    for (const SettingsFault& fault : d->faults)
        text += fault.text() + '\n';
    return text;
}

const std::vector<SettingsChange>& CSettings::changes() const { return d->changes; }

bool CSettings::changedOnDisk() const { return d->wasRead && d->onDisk != CFileStamp::of(d->path); }

void CSettings::fail(const void* variable, const std::string& reason)
{
    for (const auto& item : d->items)
        if (item->variable == variable)
            return fail(item->rule.section, item->rule.key, reason);
}

void CSettings::fail(const std::string& section, const std::string& key, const std::string& reason)
{
    if (d->reader)
        d->reader->fail(section, key, reason);
}

// ---- writing

ErrCode CSettings::save()
{
    d->faults.clear();
    std::vector<SettingItem*> changed;
    for (const auto& item : d->items)
    {
        const std::string text = readingText(item->rule, item->now());
        if (!item->get || text == readingText(item->rule, item->current))
            continue;
        changed.push_back(item.get());
        SettingValue value;
        std::string reason = parseSetting(item->rule, text, value);
        reason = reason.empty() ? iniSettingFault(item->rule.section, item->rule.key, text) : reason;
        if (!reason.empty())
            d->faults.push_back({d->path, 1, item->rule.section, item->rule.key, text, reason});
    }
    if (!d->faults.empty())
        return invalidArgument;
    return changed.empty() ? 0 : write(changed);
}

/// Into the file as it is now: what a person has changed meanwhile stays.
ErrCode CSettings::write(const std::vector<SettingItem*>& changed)
{
    CFileEdit edit(d->path);
    std::string text;
    if (const ErrCode code = edit.begin())
        return code;
    if (const ErrCode code = edit.read(text))
        return code;
    if (!isWhole(text))
        return invalidArgument;
    for (const SettingItem* item : changed)
        text = iniTextWith(text, item->rule.section, item->rule.key, readingText(item->rule, item->now()));
    const bool wasOurs = !changedOnDisk();
    if (const ErrCode code = edit.replace(text))
        return code;
    for (SettingItem* item : changed)
        item->current = item->now();
    if (wasOurs)
        d->onDisk = CFileStamp::of(d->path);
    return 0;
}

ErrCode CSettings::create(const std::string& path) const
{
    CFileEdit edit(path);
    if (const ErrCode code = edit.begin())
        return code;
    return edit.exists() ? entityExists : edit.replace(iniText());
}

std::string CSettings::schemaText() const { return schemaOf(*d); }

} // namespace Kiv
