#include "Node.h"

#include <cerrno>

#include <sys/stat.h>

#include "OpenFile.h"

namespace Sim
{

CNode::CNode(mode_t nodeMode) : mode(nodeMode)
{
    static std::uint64_t lastNumber = 1;
    ownNumber = ++lastNumber;
}

CNode::~CNode() = default;

CFolder::CFolder() : CNode(S_IFDIR | 0755) {}

CFolder::CFolder(const std::string& path) : CFolder() { shownPath = path; }

std::shared_ptr<CNode> CFolder::find(std::string_view name) const
{
    const auto found = nodes.find(name);
    return found == nodes.end() ? nullptr : found->second;
}

void CFolder::adopt(const std::string& name, const std::shared_ptr<CNode>& node)
{
    if (node->shownPath.empty())
        node->shownPath = path() + "/" + name;
    nodes[name] = node;
}

void CFolder::addVolatile(const std::string& name, const std::shared_ptr<CNode>& node)
{
    node->steady = false;
    adopt(name, node);
}

void CFolder::erase(const std::string& name)
{
    const auto found = nodes.find(name);
    found->second->remove();
    nodes.erase(found);
}

void CFolder::remove()
{
    CNode::remove();
    for (const auto& [name, node] : nodes)
        node->remove();
}

CAttribute::CAttribute(mode_t permissions, Show show, Store store)
    : CNode(S_IFREG | permissions), showText(std::move(show)), storeBytes(std::move(store))
{}

int CAttribute::show(std::string& text) const
{
    text.clear();
    if (isRemoved())
        return -ENODEV;
    return showText ? showText(text) : -EIO;
}

int CAttribute::store(std::string_view bytes) const
{
    if (isRemoved())
        return -ENODEV;
    if (!storeBytes)
        return -EIO;
    const int result = storeBytes(bytes);
    return result < 0 ? result : static_cast<int>(bytes.size());
}

void CAttribute::notify()
{
    ++events;
    for (COpenFile* file : files)
        file->wake();
}

CLink::CLink(const std::string& target) : CNode(S_IFLNK | 0777), targetPath(target) {}

std::shared_ptr<CAttribute> constantAttribute(const std::string& text)
{
    return std::make_shared<CAttribute>(0444, [text](std::string& shown) {
        shown = text;
        return 0;
    });
}

} // namespace Sim
