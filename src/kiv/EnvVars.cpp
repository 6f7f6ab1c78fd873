#include <kiv/EnvVars.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <mutex>

#include <QStandardPaths>

#include <kiv/Mutex.h>
#include <kiv/util.h>

namespace Kiv
{
namespace Env
{

namespace
{

constexpr const char delimStart[] = "${";
constexpr const char delimStop[] = "}";

void publish(std::string& text)
{
    // Asked for together with its value, so that an inherited variable of this name is replaced.
    if (std::getenv(text.c_str()) == nullptr)
        putenv(text.data());
}

std::string dataLocation()
{
    return QStandardPaths::writableLocation(QStandardPaths::AppLocalDataLocation).toStdString();
}

std::string valueOf(const std::string& name)
{
    const char* const value = std::getenv(name.c_str());
    return value != nullptr ? value : "";
}

} // namespace

void initEnvironmentVars()
{
    static CMutex& lock = *new CMutex;
    static std::atomic<bool> initialized{false};
    if (initialized)
        return;
    const std::lock_guard<CMutex> guard(lock);
    if (initialized)
        return;
    // The environment keeps pointers to these texts, so they are never freed.
    static auto& texts = *new std::array<std::string, 3>{
        "COMMON_APPDATA=" + dataLocation(), "DATA_LOCATION=" + dataLocation(), "APP_PATH=" + getApplicationDirPath()};
    for (std::string& text : texts)
        publish(text);
    initialized = true;
}

std::string substituteEnvironmentVars(const std::string& text)
{
    std::string result;
    std::size_t from = 0;
    for (;;)
    {
        const std::size_t start = text.find(delimStart, from);
        if (start == std::string::npos)
            return result.append(text, from, std::string::npos);
        const std::size_t stop = text.find(delimStop, start);
        if (stop == std::string::npos)
            return {};
        const std::size_t nameStart = start + sizeof delimStart - 1;
        const std::string value = valueOf(text.substr(nameStart, stop - nameStart));
        result.append(text, from, start - from);
        result.append(value.empty() ? text.substr(start, stop + 1 - start) : value);
        from = stop + 1;
    }
}

} // namespace Env
} // namespace Kiv
