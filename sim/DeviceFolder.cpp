#include "DeviceFolder.h"

#include "Node.h"

namespace Sim
{

namespace
{

std::shared_ptr<CAttribute> writableConstant(const std::string& text)
{
    const auto show = [text](std::string& shown) {
        shown = text;
        return 0;
    };
    return std::make_shared<CAttribute>(0644, show, [](std::string_view) { return 0; });
}

} // namespace

void addDeviceEntries(CFolder& folder, const std::string& className, const std::string& parent)
{
    folder.addFolder("power")->add("control", writableConstant("auto\n"));
    folder.add("uevent", writableConstant(""));
    folder.add("subsystem", std::make_shared<CLink>("../../../../../class/" + className));
    folder.add("device", std::make_shared<CLink>("../../../" + parent));
}

std::string deviceLink(const std::string& device, const std::string& className, const std::string& name)
{
    return "../../devices/platform/" + device + "/" + className + "/" + name;
}

} // namespace Sim
