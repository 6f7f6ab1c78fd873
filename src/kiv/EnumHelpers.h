/// A two-way table between enumeration values and their names.
#ifndef KIV_ENUMHELPERS_H
#define KIV_ENUMHELPERS_H

#include <memory>
#include <string>

#include <kiv/kiv_export.h>

namespace Kiv
{

class CEnumStringMapPrivate;

/// Values and their names, filled once and then asked in both directions: for enumerations that stand as text in
/// configuration files and commands.
///
/// Names are compared byte by byte: case matters, and blanks do. Not copyable.
///
/// Threads: reentrant; once filled, any number of threads may ask one object.
/// Errors: none. A name that is not there gives 0 and false, a value that is not there the caller's default.
class KIV_API CEnumStringMap
{
public:
    CEnumStringMap();
    ~CEnumStringMap();
    CEnumStringMap(const CEnumStringMap&) = delete;
    CEnumStringMap& operator=(const CEnumStringMap&) = delete;

    /// Adds a pair; what came first stays. A known value keeps its name and `text` becomes another way to it; a known
    /// text keeps its value and is also the name of `value`, if that is new.
    void insert(int value, const std::string& text);

    /// The value of a name, or 0. `ok` tells the two apart; it may be null.
    int toEnum(const std::string& text, bool* ok = nullptr) const;

    /// The name of a value, or `defaultText` itself: a reference to a temporary default ends with its statement.
    const std::string& toString(int value, const std::string& defaultText) const;

private:
    std::unique_ptr<CEnumStringMapPrivate> d;
};

} // namespace Kiv

#endif
