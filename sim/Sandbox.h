/// The private mount namespace in which the board stands over /sys.
#ifndef KIV_SIM_SANDBOX_H
#define KIV_SIM_SANDBOX_H

#include <stdexcept>
#include <string>
#include <vector>

#include <sys/types.h>

namespace Sim
{

/// Why there can be no board here.
class CNoSandbox : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Moves the process into a mount namespace of its own, as root or within a user namespace, and mounts a FUSE file
/// system over /sys/class there. The namespace, mounts included, vanishes with its last process.
///
/// Threads: the process must have one only. Errors: CNoSandbox.
class CSandbox
{
public:
    CSandbox();
    CSandbox(const CSandbox&) = delete;
    CSandbox& operator=(const CSandbox&) = delete;
    ~CSandbox();

    /// The mount's descriptor; the caller takes it over.
    int fuseDescriptor() const { return fuse; }
    /// The folders that stood in /sys/class, /sys/bus and /sys/devices/platform and were covered.
    const std::vector<std::string>& coveredClasses() const { return classes.names; }
    const std::vector<std::string>& coveredBuses() const { return buses.names; }
    const std::vector<std::string>& coveredDevices() const { return devices.names; }

    /// Puts the board's devices over /sys/devices/platform and its buses over /sys/bus, and the machine's own folders
    /// back beside the board's, those named in `hidden` excepted. For another process of the namespace, since the file
    /// system must answer meanwhile.
    void arrange(const std::vector<std::string>& hidden) const;

    /// Uncovers /sys for processes that outlive the board.
    static void dismantle();

private:
    struct Covered
    {
        int folder = -1;
        std::vector<std::string> names;
    };

    static Covered lookInto(const char* path);
    static void putBack(const Covered& covered, const std::string& path, const std::vector<std::string>& hidden);

    Covered classes;
    Covered buses;
    Covered devices;
    int fuse = -1;
};

/// Moves the process into the user and mount namespaces of another one, or of the first of its descendants that has
/// mounts of its own. Throws CNoSandbox.
void enterNamespaces(pid_t pid);

} // namespace Sim

#endif
