#include <kiv/whereami_cpp.h>

#include <new>
#include <utility>

#include <kiv/whereami.h>

namespace Kiv
{

namespace
{

std::string executablePath(int* dirLength)
{
    const int length = wai_getExecutablePath(nullptr, 0, nullptr);
    if (length < 0)
        return {};
    std::string path(static_cast<std::size_t>(length), '\0');
    // The file may have been moved between the two calls.
    return wai_getExecutablePath(path.data(), length, dirLength) == length ? path : std::string();
}

} // namespace

CApplicationPath::CApplicationPath()
{
    try
    {
        int dirLength = 0;
        std::string path = executablePath(&dirLength);
        if (path.empty())
            return;
        std::string dir = path.substr(0, static_cast<std::size_t>(dirLength));
        fileName = path.substr(dir.size() + 1);
        dirPath = std::move(dir);
        filePath = std::move(path);
    }
    catch (const std::bad_alloc&) // without memory there is no path
    {}
}

} // namespace Kiv
