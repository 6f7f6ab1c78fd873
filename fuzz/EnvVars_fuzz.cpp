// Foreign bytes as a text with references to environment variables.
#include <kiv/EnvVars.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include "require.h"

namespace
{

const std::map<std::string, std::string>& variables()
{
    static const std::map<std::string, std::string> all = [] {
        std::map<std::string, std::string> values{{"A", "1"}, {"E", ""},  {"R", "${A}"}, {"L", std::string(300, 'x')},
                                                  {"$", "}"}, {"{", "${"}};
        clearenv();
        for (const auto& [name, value] : values)
            setenv(name.c_str(), value.c_str(), 1);
        return values;
    }();
    return all;
}

/// A reference as the text shows it, which stays when there is nothing to put in its place.
std::string substituted(const std::string& reference)
{
    const std::string name = reference.substr(2, reference.size() - 3);
    const auto found = variables().find(name.c_str()); // a name ends at a NUL
    return found == variables().end() || found->second.empty() ? reference : found->second;
}

/// A character at a time.
std::string expected(const std::string& text)
{
    std::string result;
    std::string reference; // as far as it has come
    for (const char c : text)
    {
        if (reference.size() >= 2)
        {
            reference += c;
            if (c == '}')
                result += substituted(std::exchange(reference, {}));
        }
        else if (c == '$')
        {
            result += std::exchange(reference, "$");
        }
        else if (c == '{' && !reference.empty())
        {
            reference += c;
        }
        else
        {
            result += std::exchange(reference, {}) + c;
        }
    }
    return reference.size() >= 2 ? "" : result + reference;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    const std::string text(bytes, bytes + size);
    variables();
    require(Kiv::Env::substituteEnvironmentVars(text) == expected(text));
    return 0;
}
