/// JSON texts (RFC 8259) on one line; private.
#ifndef KIV_JSONTEXT_H
#define KIV_JSONTEXT_H

#include <cstdint>
#include <string>
#include <vector>

namespace Kiv
{

/// A JSON string. A byte that is no part of a UTF-8 character becomes U+FFFD.
std::string jsonString(const std::string& text);

/// "[a,b]" of JSON texts.
std::string jsonArray(const std::vector<std::string>& items);

/// An object whose members keep their order.
class CJsonObject
{
public:
    /// `value` is a JSON text itself.
    CJsonObject& add(const char* name, const std::string& value);
    CJsonObject& addText(const char* name, const std::string& value) { return add(name, jsonString(value)); }
    CJsonObject& addNumber(const char* name, std::int64_t value) { return add(name, std::to_string(value)); }
    CJsonObject& addBool(const char* name, bool value) { return add(name, value ? "true" : "false"); }

    std::string text() const { return '{' + members + '}'; }

private:
    std::string members;
};

} // namespace Kiv

#endif
