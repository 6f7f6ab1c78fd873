/// The last lines that state machines logged, kept where a crash report finds them.
#ifndef KIV_LOGRING_H
#define KIV_LOGRING_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Kiv
{
namespace Diag
{

/// A ring of lines in static storage. Any thread adds, a signal handler reads; both without a lock. A line that is
/// being overwritten while it is read may come out mixed.
class CLogRing
{
public:
    static constexpr std::size_t lineCount = 32;
    static constexpr std::size_t lineSize = 128;

    /// Keeps at most the first 127 characters.
    void add(const char* text)
    {
        char padded[lineSize] = "";
        std::memcpy(padded, text, strnlen(text, lineSize - 1));
        auto& line = lines[next.fetch_add(1, std::memory_order_relaxed) % lineCount];
        for (std::size_t word = 0; word < line.size(); ++word)
        {
            std::uint64_t value = 0;
            std::memcpy(&value, padded + word * sizeof value, sizeof value);
            line[word].store(value, std::memory_order_relaxed);
        }
    }

    /// Calls visit(text) for each line, the oldest first.
    template<class Visit>
    void forEach(Visit visit) const
    {
        const std::size_t end = next.load(std::memory_order_relaxed);
        for (std::size_t index = end > lineCount ? end - lineCount : 0; index < end; ++index)
        {
            char text[lineSize];
            const auto& line = lines[index % lineCount];
            for (std::size_t word = 0; word < line.size(); ++word)
            {
                const std::uint64_t value = line[word].load(std::memory_order_relaxed);
                std::memcpy(text + word * sizeof value, &value, sizeof value);
            }
            text[lineSize - 1] = '\0';
            visit(text);
        }
    }

private:
    using Line = std::array<std::atomic<std::uint64_t>, lineSize / sizeof(std::uint64_t)>;

    std::array<Line, lineCount> lines{};
    std::atomic<std::size_t> next{0};
};

/// The ring that all machines of the process share.
CLogRing& stateMachineLog();

} // namespace Diag
} // namespace Kiv

#endif
