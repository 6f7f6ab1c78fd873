/// What somebody may have meant by a name that nobody knows; private to the settings.
#ifndef KIV_NEARESTNAME_H
#define KIV_NEARESTNAME_H

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <vector>

namespace Kiv
{

/// How many characters have to be added, left out or changed to make one name of the other; the case of letters does
/// not count.
inline std::size_t nameDistance(const std::string& a, const std::string& b)
{
    const auto isSame = [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
    };
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i)
    {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j)
        {
            const std::size_t changed = diagonal + (isSame(a[i - 1], b[j - 1]) ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

/// The nearest of some names; empty if none is near: a third of its characters may differ, two in any case. Very long
/// names are never near: they are no slips of the hand, and would take their time.
inline std::string nearestName(const std::string& name, const std::vector<std::string>& names)
{
    constexpr std::size_t longest = 64;
    std::string nearest;
    std::size_t distance = std::max<std::size_t>(2, name.size() / 3) + 1;
    for (const std::string& one : names)
    {
        if (name.empty() || name.size() > longest || one.size() > longest)
            continue;
        const std::size_t own = nameDistance(name, one);
        if (own >= distance || own >= std::max(one.size(), name.size()))
            continue;
        distance = own;
        nearest = one;
    }
    return nearest;
}

} // namespace Kiv

#endif
