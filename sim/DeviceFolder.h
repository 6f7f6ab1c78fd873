/// What the folder of any device has besides its own attributes.
#ifndef KIV_SIM_DEVICEFOLDER_H
#define KIV_SIM_DEVICEFOLDER_H

#include <string>

namespace Sim
{

class CFolder;

/// Adds `power`, `subsystem` and `uevent` to a device of a class, and `device`, the way to its parent.
void addDeviceEntries(CFolder& folder, const std::string& className, const std::string& parent);

/// Where the class folder's link to a device points: "../../devices/platform/<device>/<class>/<name>".
std::string deviceLink(const std::string& device, const std::string& className, const std::string& name);

} // namespace Sim

#endif
