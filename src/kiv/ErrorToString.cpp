// The cached errno texts are read without a lock: a text is complete before it is linked into its bucket, and none is
// ever changed or unlinked.
#include <kiv/ErrorToString.h>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>

#include "kiv/errors/ErrorCatalogue.h"

using Kiv::errorCatalogue;
using Kiv::errorCatalogueSize;

namespace
{

constexpr const char* unknownText = "Unknown error or invalid error code";

// Codes up to the last one below the flag groups are looked up by index.
constexpr std::size_t indexedCodes = 0x661 + 1;
constexpr std::uint8_t unknownRow = errorCatalogueSize;
static_assert(errorCatalogueSize <= 0xFF, "a row number must fit into a byte");

/// The row of each code; the first row where a code has two.
constexpr auto rowOfCode = [] {
    std::array<std::uint8_t, indexedCodes> rows{};
    for (std::uint8_t& row : rows)
        row = unknownRow;
    for (std::size_t row = errorCatalogueSize; row-- > 0;)
    {
        const auto code = static_cast<std::size_t>(errorCatalogue[row].code);
        if (code < indexedCodes)
            rows[code] = static_cast<std::uint8_t>(row);
    }
    return rows;
}();

/// The text of each row, and behind them that of codes without one.
constexpr auto textOfRow = [] {
    std::array<const char*, errorCatalogueSize + 1> texts{};
    for (std::size_t row = 0; row < errorCatalogueSize; ++row)
        texts[row] = errorCatalogue[row].text;
    texts[unknownRow] = unknownText;
    return texts;
}();

/// The system's text of one errno value, in a bucket's list.
struct ErrnoText
{
    int errnoValue;
    std::string text;
    const ErrnoText* next;
};

// Never emptied, so that a text outlives every caller.
std::array<std::atomic<const ErrnoText*>, 256> errnoTexts{};

// The same texts, of the values that systems have, once they have been asked for.
std::array<std::atomic<const char*>, 256> usualTexts{};

const ErrnoText* find(const ErrnoText* first, int errnoValue)
{
    while (first != nullptr && first->errnoValue != errnoValue)
        first = first->next;
    return first;
}

const char* errnoText(int errnoValue)
{
    std::atomic<const ErrnoText*>& bucket = errnoTexts[static_cast<unsigned>(errnoValue) % errnoTexts.size()];
    const ErrnoText* first = bucket.load(std::memory_order_acquire);
    if (const ErrnoText* known = find(first, errnoValue))
        return known->text.c_str();

    char buffer[128];
    auto added =
        std::make_unique<ErrnoText>(ErrnoText{errnoValue, strerror_r(errnoValue, buffer, sizeof buffer), first});
    while (!bucket.compare_exchange_weak(first, added.get(), std::memory_order_release, std::memory_order_acquire))
    {
        if (const ErrnoText* known = find(first, errnoValue))
            return known->text.c_str();
        added->next = first;
    }
    return added.release()->text.c_str();
}

// Not inlined: the common case needs no stack.
[[gnu::noinline]] const char* openGroupText(std::uint32_t code)
{
    if (code == ERRC_ERRNO_FLAG)
        return errorCatalogue[errorCatalogueSize - 2].text;
    if (code == ERRC_APPLICATION_BASE)
        return errorCatalogue[errorCatalogueSize - 1].text;
    if ((code & ERRC_ERRNO_FLAG) == 0)
        return unknownText;
    const char* const text = errnoText(static_cast<int>(code & ~std::uint32_t{ERRC_ERRNO_FLAG}));
    if ((code ^ ERRC_ERRNO_FLAG) < usualTexts.size())
        usualTexts[code ^ ERRC_ERRNO_FLAG].store(text, std::memory_order_release);
    return text;
}

} // namespace

const char* ErrorToString(ErrCode code)
{
    // Negated as unsigned: 0x80000000 has no positive counterpart.
    const std::uint32_t plain = static_cast<std::int32_t>(code) < 0 ? 0U - code : code;
    if (plain >= indexedCodes)
    {
        const std::uint32_t errnoValue = plain ^ ERRC_ERRNO_FLAG;
        const char* const known =
            errnoValue < usualTexts.size() ? usualTexts[errnoValue].load(std::memory_order_acquire) : nullptr;
        return known != nullptr ? known : openGroupText(plain);
    }
    return textOfRow[rowOfCode[plain]];
}

const char* ErrorToStringPriv(int code)
{
    int low = 0;
    int high = static_cast<int>(errorCatalogueSize) - 1;
    while (low <= high)
    {
        const int middle = (low + high) / 2;
        const Kiv::ErrorMessage& message = errorCatalogue[middle];
        if (message.code == code)
            return message.text;
        if (message.code < code)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return unknownText;
}
