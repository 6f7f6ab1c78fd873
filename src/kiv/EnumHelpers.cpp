#include <kiv/EnumHelpers.h>

#include <map>

namespace Kiv
{

class CEnumStringMapPrivate
{
public:
    std::map<int, std::string> texts;
    std::map<std::string, int> values;
};

CEnumStringMap::CEnumStringMap() : d(std::make_unique<CEnumStringMapPrivate>()) {}

CEnumStringMap::~CEnumStringMap() = default;

void CEnumStringMap::insert(int value, const std::string& text)
{
    d->texts.emplace(value, text);
    d->values.emplace(text, value);
}

int CEnumStringMap::toEnum(const std::string& text, bool* ok) const
{
    const auto found = d->values.find(text);
    const bool isFound = found != d->values.end();
    if (ok)
        *ok = isFound;
    return isFound ? found->second : 0;
}

const std::string& CEnumStringMap::toString(int value, const std::string& defaultText) const
{
    const auto found = d->texts.find(value);
    return found != d->texts.end() ? found->second : defaultText;
}

} // namespace Kiv
