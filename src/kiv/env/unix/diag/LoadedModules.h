/// The files of which the program consists, noted while all is well and read when it is not.
#ifndef KIV_LOADEDMODULES_H
#define KIV_LOADEDMODULES_H

#include <cstddef>
#include <cstdint>

namespace Kiv
{
namespace Diag
{

/// One loaded file: the program itself or a library.
struct LoadedModule
{
    std::uintptr_t base;
    std::uintptr_t begin;
    std::uintptr_t end;
    unsigned char buildId[20];
    std::size_t buildIdSize;
    char path[256];
};

/// The first 128 of them, in static storage.
///
/// Threads: takeDown() by one thread; the others are async-signal-safe and read what it left.
class CLoadedModules
{
public:
    struct Range
    {
        const LoadedModule* begin() const { return first; }
        const LoadedModule* end() const { return last; }

        const LoadedModule* first;
        const LoadedModule* last;
    };

    /// Asks the loader what is loaded now.
    static void takeDown();

    static Range all();

    /// The file that an address lies in, or null.
    static const LoadedModule* find(std::uintptr_t address);
};

} // namespace Diag
} // namespace Kiv

#endif
