/// The tree that the board shows: folders, attributes and links, as sysfs has them.
#ifndef KIV_SIM_NODE_H
#define KIV_SIM_NODE_H

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace Sim
{

class COpenFile;

/// What all nodes have. A node that was removed from its folder lives on while somebody holds it, and says so.
///
/// Threads: the whole model belongs to one thread.
/// Errors: results below 0 are negated errno values.
class CNode
{
public:
    explicit CNode(mode_t mode);
    CNode(const CNode&) = delete;
    CNode& operator=(const CNode&) = delete;
    virtual ~CNode();

    /// Unique in the process, also among removed nodes.
    std::uint64_t number() const { return ownNumber; }
    /// The path that people use, through the class folder: "/sys/class/gpio/gpio512/value".
    const std::string& path() const { return shownPath; }
    bool isRemoved() const { return removed; }
    /// False for what export and unexport bring and take.
    bool isSteady() const { return steady; }

    /// Type and permission bits; the latter and the owners may be changed, as udev rules do.
    mode_t mode = 0;
    uid_t owner = 0;
    gid_t group = 0;

protected:
    virtual void remove() { removed = true; }

private:
    friend class CFolder;

    std::uint64_t ownNumber = 0;
    std::string shownPath;
    bool removed = false;
    bool steady = true;
};

/// A folder; it keeps its entries sorted by name.
class CFolder : public CNode
{
public:
    using Entries = std::map<std::string, std::shared_ptr<CNode>, std::less<>>;

    CFolder();
    /// A folder whose path people do not take from where it stands.
    explicit CFolder(const std::string& shownPath);

    /// Null when there is none.
    std::shared_ptr<CNode> find(std::string_view name) const;
    const Entries& entries() const { return nodes; }

    /// Adds a node and returns it.
    template<class Node>
    std::shared_ptr<Node> add(const std::string& name, std::shared_ptr<Node> node)
    {
        adopt(name, node);
        return node;
    }
    std::shared_ptr<CFolder> addFolder(const std::string& name) { return add(name, std::make_shared<CFolder>()); }
    /// Adds what erase() will take away again.
    void addVolatile(const std::string& name, const std::shared_ptr<CNode>& node);
    void erase(const std::string& name);

protected:
    void remove() override;

private:
    void adopt(const std::string& name, const std::shared_ptr<CNode>& node);

    Entries nodes;
};

/// A file of a kernel driver or of the outer world.
///
/// A program may read it when there is a `show`, write it when there is a `store`. notify() tells those who poll it.
class CAttribute : public CNode
{
public:
    using Show = std::function<int(std::string& text)>;
    using Store = std::function<int(std::string_view bytes)>;

    CAttribute(mode_t permissions, Show show, Store store = {});

    int show(std::string& text) const;
    /// The number of bytes taken.
    int store(std::string_view bytes) const;

    /// What opening with O_TRUNC does; nothing where it is not set, as in the kernel.
    std::function<void()> clear;
    /// Accesses are left out of the journal.
    bool isSilent = false;

    /// Wakes those who wait; they find the file changed until they have read it.
    void notify();
    unsigned eventCount() const { return events; }

private:
    friend class COpenFile;

    Show showText;
    Store storeBytes;
    unsigned events = 1;
    std::vector<COpenFile*> files;
};

/// A symbolic link.
class CLink : public CNode
{
public:
    explicit CLink(const std::string& target);
    const std::string& target() const { return targetPath; }

private:
    std::string targetPath;
};

/// Shows what text() gives at that time.
template<class Text>
CAttribute::Show shown(Text text)
{
    return [text](std::string& result) {
        result = text();
        return 0;
    };
}

/// Adds a file that shows what text() gives and hands what is written to a member of `owner`.
template<class Owner, class Text>
std::shared_ptr<CAttribute> addAttribute(CFolder& folder, const char* name, Owner& owner, Text text,
                                         int (Owner::*store)(std::string_view))
{
    const auto stored = [&owner, store](std::string_view bytes) { return (owner.*store)(bytes); };
    return folder.add(name, std::make_shared<CAttribute>(0644, shown(text), stored));
}

/// A read-only attribute whose text never changes.
std::shared_ptr<CAttribute> constantAttribute(const std::string& text);

} // namespace Sim

#endif
