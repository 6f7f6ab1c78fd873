#include "kiv/env/unix/diag/ReportFile.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <vector>

#include <sys/stat.h>

#include "kiv/env/unix/diag/ReportWriter.h"
#include "kiv/env/unix/helper/SystemCall.h"
#include "kiv/files/FileUpdate.h"

namespace Kiv
{
namespace Diag
{

namespace
{

constexpr std::size_t smallestFile = std::size_t{64} << 10;
constexpr std::size_t largestRead = std::size_t{64} << 20; ///< more than this is no file of ours
constexpr std::size_t usualReport = std::size_t{48} << 10;
constexpr std::chrono::milliseconds patience(200);
constexpr unsigned mostCounted = 99999;
constexpr int counterDigits = 5;

bool isRegular(const std::string& path, std::size_t& size)
{
    struct stat status = {};
    const bool is = stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    size = is ? static_cast<std::size_t>(status.st_size) : 0;
    return is;
}

std::string contentOf(const std::string& path)
{
    const CDescriptor file = CDescriptor::open(path.c_str(), O_RDONLY);
    std::string text;
    char block[4096];
    for (ssize_t got = 0; (got = uninterrupted([&] { return ::read(file.get(), block, sizeof block); })) > 0;)
        text.append(block, static_cast<std::size_t>(got));
    return text;
}

/// Where each report begins.
std::vector<std::size_t> reportsOf(const std::string& text)
{
    const std::string begin = reportBegin;
    std::vector<std::size_t> places;
    for (std::size_t at = text.find(begin); at != std::string::npos; at = text.find(begin, at + begin.size()))
        if (at == 0 || text[at - 1] == '\n')
            places.push_back(at);
    return places;
}

/// Where the part of the text begins that stays: so many reports, and no more bytes.
std::size_t keptFrom(const std::string& text, std::size_t reports, std::size_t bytes)
{
    const std::vector<std::size_t> places = reportsOf(text);
    std::size_t from = text.size();
    for (auto place = places.rbegin(); place != places.rend() && reports > 0; ++place, --reports)
    {
        if (text.size() - *place > bytes)
            break;
        from = *place;
    }
    return from;
}

/// The characters behind a word, in the line that begins with it.
std::string_view lineOf(std::string_view report, std::string_view begin)
{
    std::size_t at = report.find(begin);
    while (at != std::string_view::npos && at > 0 && report[at - 1] != '\n')
        at = report.find(begin, at + 1);
    if (at == std::string_view::npos)
        return {};
    report.remove_prefix(at + begin.size());
    return report.substr(0, report.find('\n'));
}

template<class Number>
bool scan(std::string_view text, Number& number, int base)
{
    return std::from_chars(text.data(), text.data() + text.size(), number, base).ec == std::errc();
}

/// Of "2026-11-21T08:30:00Z"; -1 for any other text.
std::int64_t secondsOf(const std::string& text)
{
    std::tm fields = {};
    const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &fields);
    return end != nullptr ? static_cast<std::int64_t>(timegm(&fields)) : -1;
}

} // namespace

void CReportFile::prepare(const std::string& path, const CrashReportLimits& limits)
{
    if (counterFile >= 0)
        close(counterFile);
    *this = CReportFile();
    const std::size_t most = std::max(limits.bytes, smallestFile);
    reportRoom = most;
    std::size_t size = 0;
    if (!isRegular(path, size) || size > largestRead)
        return;
    std::string text = contentOf(path);
    if (!text.empty() && text.compare(0, sizeof reportBegin - 1, reportBegin) != 0)
        return;
    const std::size_t from = keptFrom(text, limits.reports, most - usualReport);
    if (from > 0)
    {
        CFileUpdate update(path);
        if (update.begin(patience) != 0 || update.replace(std::string_view(text).substr(from)) != 0)
            return;
        text.erase(0, from);
    }
    reportRoom = most - text.size();
    remember(text, limits.repeatedWithin);
    if (limits.repeatedWithin > 0)
        counterFile = CDescriptor::open(path.c_str(), O_WRONLY).release();
}

void CReportFile::remember(const std::string& text, std::int64_t within)
{
    const std::vector<std::size_t> places = reportsOf(text);
    if (places.empty())
        return;
    const std::string_view report = std::string_view(text).substr(places.back());
    const std::string_view repeated = lineOf(report, repeatedBegin); // "00012 times until 2026-11-21T08:30:00Z"
    constexpr std::string_view words = " times until ";
    const bool isWhole = repeated.size() > counterDigits + words.size() &&
                         repeated.substr(counterDigits, words.size()) == words &&
                         scan(repeated.substr(0, counterDigits), counted, 10) &&
                         scan(lineOf(report, fingerprintBegin), lastFingerprint, 16);
    const std::int64_t until = isWhole ? secondsOf(std::string(repeated.substr(counterDigits + words.size()))) : -1;
    hasLast = until >= 0;
    counterPlace = isWhole ? repeated.data() - text.data() : 0;
    countUntil = until + within;
}

// ---- inside the handler

void CReportFile::begin(int file)
{
    struct stat status = {};
    reportPlace = fstat(file, &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : -1;
}

void CReportFile::end(int file, std::uint64_t fingerprint, std::int64_t now)
{
    if (!hasLast || counterFile < 0 || reportPlace < 0 || fingerprint != lastFingerprint || now > countUntil)
        return;
    if (counterPlace >= reportPlace || lseek(counterFile, counterPlace, SEEK_SET) < 0 ||
        ftruncate(file, reportPlace) != 0)
        return;
    CReportWriter out(counterFile);
    out.decimal(std::min(counted + 1, mostCounted), counterDigits).text(" times until ").utc(now);
}

} // namespace Diag
} // namespace Kiv
