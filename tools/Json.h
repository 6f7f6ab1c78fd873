/// JSON texts (RFC 8259) on one line.
#ifndef KIV_TOOLS_JSON_H
#define KIV_TOOLS_JSON_H

#include <string>
#include <string_view>
#include <vector>

namespace Tool
{

/// A JSON string. A byte that is no part of a UTF-8 character becomes U+FFFD, since JSON holds only characters.
std::string jsonString(std::string_view text);

/// "[a,b]" of JSON texts.
std::string jsonArray(const std::vector<std::string>& items);
/// The same with an item on each line.
std::string jsonLines(const std::vector<std::string>& items);

/// An object whose members keep their order.
class CJsonObject
{
public:
    /// `value` is a JSON text itself.
    CJsonObject& add(std::string_view name, const std::string& value);
    CJsonObject& addText(std::string_view name, std::string_view value) { return add(name, jsonString(value)); }
    CJsonObject& addNumber(std::string_view name, long long value) { return add(name, std::to_string(value)); }
    CJsonObject& addBool(std::string_view name, bool value) { return add(name, value ? "true" : "false"); }

    std::string text() const { return '{' + members + '}'; }

private:
    std::string members;
};

} // namespace Tool

#endif
