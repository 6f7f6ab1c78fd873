#include "kiv/env/unix/diag/LoadedModules.h"

#include <algorithm>
#include <cstring>

#include <link.h>
#include <unistd.h>

namespace Kiv
{
namespace Diag
{

namespace
{

constexpr std::size_t maxModules = 128;
LoadedModule modules[maxModules];
std::size_t moduleCount = 0;

void findBuildId(LoadedModule& module, const char* note, std::size_t size)
{
    while (size >= sizeof(ElfW(Nhdr)))
    {
        ElfW(Nhdr) header;
        std::memcpy(&header, note, sizeof header);
        const std::size_t nameSize = (header.n_namesz + 3U) & ~3U;
        const std::size_t idSize = (header.n_descsz + 3U) & ~3U;
        if (sizeof header + nameSize + idSize > size)
            return;
        if (header.n_type == NT_GNU_BUILD_ID && header.n_descsz <= sizeof module.buildId)
        {
            module.buildIdSize = header.n_descsz;
            std::memcpy(module.buildId, note + sizeof header + nameSize, header.n_descsz);
            return;
        }
        note += sizeof header + nameSize + idSize;
        size -= sizeof header + nameSize + idSize;
    }
}

int addModule(dl_phdr_info* info, std::size_t, void*)
{
    if (moduleCount == maxModules)
        return 1;
    LoadedModule& module = modules[moduleCount];
    module = {};
    module.base = info->dlpi_addr;
    module.begin = UINTPTR_MAX;
    for (int i = 0; i < info->dlpi_phnum; ++i)
    {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        const std::uintptr_t address = info->dlpi_addr + segment.p_vaddr;
        if (segment.p_type == PT_LOAD)
        {
            module.begin = std::min(module.begin, address);
            module.end = std::max(module.end, address + segment.p_memsz);
        }
        else if (segment.p_type == PT_NOTE)
        {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the loader gives addresses as numbers
            findBuildId(module, reinterpret_cast<const char*>(address), segment.p_memsz);
        }
    }
    const bool isProgram = moduleCount == 0;
    if (isProgram)
        static_cast<void>(!readlink("/proc/self/exe", module.path, sizeof module.path - 1));
    else
        std::memcpy(module.path, info->dlpi_name, strnlen(info->dlpi_name, sizeof module.path - 1));
    ++moduleCount;
    return 0;
}

} // namespace

void CLoadedModules::takeDown()
{
    moduleCount = 0;
    dl_iterate_phdr(addModule, nullptr);
}

CLoadedModules::Range CLoadedModules::all() { return {modules, modules + moduleCount}; }

const LoadedModule* CLoadedModules::find(std::uintptr_t address)
{
    const Range range = all();
    const auto* found = std::find_if(range.begin(), range.end(), [address](const LoadedModule& module) {
        return address >= module.begin && address < module.end;
    });
    return found != range.end() ? found : nullptr;
}

} // namespace Diag
} // namespace Kiv
