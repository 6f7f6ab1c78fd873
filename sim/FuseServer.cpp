#include "FuseServer.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <new>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include <fuse3/fuse_lowlevel.h>

#include "Board.h"

namespace Sim
{

namespace
{

constexpr const char* devicesName = ".devices";
constexpr const char* busesName = ".bus";
constexpr double steadySeconds = 3600; // how long the kernel may remember what does not change
constexpr off_t attributeSize = 4096;

} // namespace

class CFuseServerPrivate
{
public:
    CFuseServerPrivate(CBoard& board, int descriptor);
    ~CFuseServerPrivate();

    /// A node that the kernel knows, and how many times it was told of it.
    struct Known
    {
        std::shared_ptr<CNode> node;
        std::uint64_t lookups = 0;
    };

    static CFuseServerPrivate& of(fuse_req_t request)
    {
        return *static_cast<CFuseServerPrivate*>(fuse_req_userdata(request));
    }

    std::shared_ptr<CNode> node(fuse_ino_t number) const
    {
        return number == FUSE_ROOT_ID ? board.classes() : known.at(number).node;
    }

    std::shared_ptr<CNode> child(fuse_ino_t parent, const char* name) const
    {
        if (parent == FUSE_ROOT_ID && std::strcmp(name, devicesName) == 0)
            return board.devices();
        if (parent == FUSE_ROOT_ID && std::strcmp(name, busesName) == 0)
            return board.buses();
        const auto folder = std::dynamic_pointer_cast<CFolder>(node(parent));
        return folder ? folder->find(name) : nullptr;
    }

    void remember(const std::shared_ptr<CNode>& node)
    {
        Known& entry = known[node->number()];
        entry.node = node;
        ++entry.lookups;
    }

    void forget(fuse_ino_t number, std::uint64_t lookups)
    {
        const auto entry = known.find(number);
        if (entry != known.end() && (entry->second.lookups -= std::min(lookups, entry->second.lookups)) == 0)
            known.erase(entry);
    }

    /// Keeps something for as long as the kernel's file is open; its key goes into `fuse_file_info::fh`.
    template<class Kept>
    std::uint64_t keep(std::map<std::uint64_t, Kept>& kept, Kept thing)
    {
        kept.emplace(++lastKey, std::move(thing));
        return lastKey;
    }

    CBoard& board;
    fuse_session* session = nullptr;
    fuse_buf buffer = {};
    std::map<std::uint64_t, std::unique_ptr<COpenFile>> files;
    std::map<std::uint64_t, std::string> listings;

private:
    std::map<fuse_ino_t, Known> known;
    std::uint64_t lastKey = 0;
};

namespace
{

using CServer = CFuseServerPrivate;

COpenFile& openFile(fuse_req_t request, const fuse_file_info* info) { return *CServer::of(request).files.at(info->fh); }

struct stat statOf(const CNode& node)
{
    struct stat status = {};
    status.st_ino = node.number();
    status.st_mode = node.mode;
    status.st_uid = node.owner;
    status.st_gid = node.group;
    status.st_nlink = S_ISDIR(node.mode) ? 2 : 1;
    status.st_size = S_ISREG(node.mode) ? attributeSize : 0;
    status.st_blksize = attributeSize;
    if (const auto* link = dynamic_cast<const CLink*>(&node))
        status.st_size = static_cast<off_t>(link->target().size());
    return status;
}

void lookup(fuse_req_t request, fuse_ino_t parent, const char* name)
{
    CServer& server = CServer::of(request);
    const auto node = server.child(parent, name);
    if (!node)
    {
        fuse_reply_err(request, ENOENT);
        return;
    }
    fuse_entry_param entry = {};
    entry.ino = node->number();
    entry.attr = statOf(*node);
    entry.entry_timeout = node->isSteady() ? steadySeconds : 0;
    entry.attr_timeout = steadySeconds;
    server.remember(node);
    if (fuse_reply_entry(request, &entry) != 0)
        server.forget(entry.ino, 1);
}

/// The kernel waits for no answer to this one, so an error would be none; looking up and erasing do not throw.
void forget(fuse_req_t request, fuse_ino_t number, std::uint64_t lookups)
{
    CServer::of(request).forget(number, lookups);
    fuse_reply_none(request);
}

void replyStatus(fuse_req_t request, const CNode& node)
{
    const struct stat status = statOf(node);
    fuse_reply_attr(request, &status, steadySeconds);
}

void getattr(fuse_req_t request, fuse_ino_t number, fuse_file_info*)
{
    replyStatus(request, *CServer::of(request).node(number));
}

/// Modes and owners change, as udev rules want it; the size does not.
void setattr(fuse_req_t request, fuse_ino_t number, struct stat* wanted, int what, fuse_file_info*)
{
    const auto node = CServer::of(request).node(number);
    if ((what & FUSE_SET_ATTR_MODE) != 0)
        node->mode = (node->mode & S_IFMT) | (wanted->st_mode & 07777);
    if ((what & FUSE_SET_ATTR_UID) != 0)
        node->owner = wanted->st_uid;
    if ((what & FUSE_SET_ATTR_GID) != 0)
        node->group = wanted->st_gid;
    const auto* attribute = dynamic_cast<const CAttribute*>(node.get());
    if ((what & FUSE_SET_ATTR_SIZE) != 0 && attribute != nullptr && attribute->clear)
        attribute->clear();
    replyStatus(request, *node);
}

void readlink(fuse_req_t request, fuse_ino_t number)
{
    fuse_reply_readlink(request, dynamic_cast<const CLink&>(*CServer::of(request).node(number)).target().c_str());
}

void open(fuse_req_t request, fuse_ino_t number, fuse_file_info* info)
{
    CServer& server = CServer::of(request);
    const auto attribute = std::dynamic_pointer_cast<CAttribute>(server.node(number));
    std::unique_ptr<COpenFile> file;
    if (const int result = attribute ? server.board.open(attribute, info->flags, file) : -EISDIR)
    {
        fuse_reply_err(request, -result);
        return;
    }
    info->fh = server.keep(server.files, std::move(file));
    info->direct_io = 1; // sizes say nothing, and every read and write has to come here
    if (fuse_reply_open(request, info) != 0)
        server.files.erase(info->fh);
}

void read(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info)
{
    std::string bytes;
    const int result =
        CServer::of(request).board.read(openFile(request, info), static_cast<std::size_t>(offset), size, bytes);
    if (result < 0)
        fuse_reply_err(request, -result);
    else
        fuse_reply_buf(request, bytes.data(), bytes.size());
}

void write(fuse_req_t request, fuse_ino_t, const char* bytes, std::size_t size, off_t, fuse_file_info* info)
{
    const int result = CServer::of(request).board.write(openFile(request, info), std::string_view(bytes, size));
    if (result < 0)
        fuse_reply_err(request, -result);
    else
        fuse_reply_write(request, static_cast<std::size_t>(result));
}

/// Comes once, after the last close(2), and before whatever the same process asks next.
void release(fuse_req_t request, fuse_ino_t, fuse_file_info* info)
{
    CServer& server = CServer::of(request);
    std::unique_ptr<COpenFile> file = std::move(server.files.at(info->fh));
    server.files.erase(info->fh);
    server.board.close(std::move(file));
    fuse_reply_err(request, 0);
}

void poll(fuse_req_t request, fuse_ino_t, fuse_file_info* info, fuse_pollhandle* handle)
{
    COpenFile::Waker waker;
    if (handle != nullptr)
    {
        const std::shared_ptr<fuse_pollhandle> owned(handle, fuse_pollhandle_destroy);
        waker = [owned] { fuse_lowlevel_notify_poll(owned.get()); };
    }
    fuse_reply_poll(request, static_cast<unsigned>(openFile(request, info).poll(std::move(waker))));
}

void addEntry(fuse_req_t request, std::string& listing, const std::string& name, const CNode& node)
{
    struct stat status = {};
    status.st_ino = node.number();
    status.st_mode = node.mode;
    const std::size_t begin = listing.size();
    listing.resize(begin + fuse_add_direntry(request, nullptr, 0, name.c_str(), nullptr, 0));
    fuse_add_direntry(request, &listing[begin], listing.size() - begin, name.c_str(), &status,
                      static_cast<off_t>(listing.size()));
}

void opendir(fuse_req_t request, fuse_ino_t number, fuse_file_info* info)
{
    CServer& server = CServer::of(request);
    const auto folder = std::dynamic_pointer_cast<CFolder>(server.node(number));
    if (!folder)
    {
        fuse_reply_err(request, ENOTDIR);
        return;
    }
    std::string listing;
    addEntry(request, listing, ".", *folder);
    addEntry(request, listing, "..", *folder);
    for (const auto& [name, node] : folder->entries())
        addEntry(request, listing, name, *node);
    info->fh = server.keep(server.listings, std::move(listing));
    if (fuse_reply_open(request, info) != 0)
        server.listings.erase(info->fh);
}

/// The kernel cuts what does not fit; each entry says where the next one begins.
void readdir(fuse_req_t request, fuse_ino_t, std::size_t size, off_t offset, fuse_file_info* info)
{
    const std::string& listing = CServer::of(request).listings.at(info->fh);
    const std::size_t begin = std::min(static_cast<std::size_t>(offset), listing.size());
    fuse_reply_buf(request, listing.data() + begin, std::min(size, listing.size() - begin));
}

void releasedir(fuse_req_t request, fuse_ino_t, fuse_file_info* info)
{
    CServer::of(request).listings.erase(info->fh);
    fuse_reply_err(request, 0);
}

// What sysfs never lets anybody do. Creating a file says EACCES, as for a missing right, the rest says EPERM.

void create(fuse_req_t request, fuse_ino_t, const char*, mode_t, fuse_file_info*) { fuse_reply_err(request, EACCES); }

void mknod(fuse_req_t request, fuse_ino_t, const char*, mode_t, dev_t) { fuse_reply_err(request, EPERM); }

void mkdir(fuse_req_t request, fuse_ino_t, const char*, mode_t) { fuse_reply_err(request, EPERM); }

void removeEntry(fuse_req_t request, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }

void rename(fuse_req_t request, fuse_ino_t, const char*, fuse_ino_t, const char*, unsigned)
{
    fuse_reply_err(request, EPERM);
}

void symlink(fuse_req_t request, const char*, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }

void link(fuse_req_t request, fuse_ino_t, fuse_ino_t, const char*) { fuse_reply_err(request, EPERM); }

/// An operation as libfuse calls it: its frames are C and let no exception pass. An operation throws before it has
/// answered or not at all; what it throws is the answer then.
template<auto Operation, class... Arguments>
void guarded(fuse_req_t request, Arguments... arguments)
{
    try
    {
        Operation(request, arguments...);
    }
    catch (const std::bad_alloc&)
    {
        fuse_reply_err(request, ENOMEM);
    }
    catch (...)
    {
        fuse_reply_err(request, EIO);
    }
}

fuse_lowlevel_ops operations()
{
    fuse_lowlevel_ops ops = {};
    ops.lookup = guarded<lookup>;
    ops.forget = forget;
    ops.getattr = guarded<getattr>;
    ops.setattr = guarded<setattr>;
    ops.readlink = guarded<readlink>;
    ops.open = guarded<open>;
    ops.read = guarded<read>;
    ops.write = guarded<write>;
    ops.release = guarded<release>;
    ops.poll = guarded<poll>;
    ops.opendir = guarded<opendir>;
    ops.readdir = guarded<readdir>;
    ops.releasedir = guarded<releasedir>;
    ops.create = guarded<create>;
    ops.mknod = guarded<mknod>;
    ops.mkdir = guarded<mkdir>;
    ops.unlink = guarded<removeEntry>;
    ops.rmdir = guarded<removeEntry>;
    ops.rename = guarded<rename>;
    ops.symlink = guarded<symlink>;
    ops.link = guarded<link>;
    return ops;
}

} // namespace

CFuseServerPrivate::CFuseServerPrivate(CBoard& served, int descriptor) : board(served)
{
    char name[] = "kiv-board";
    char* arguments[] = {name, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    const fuse_lowlevel_ops ops = operations();
    session = fuse_session_new(&args, &ops, sizeof ops, this);
    fuse_opt_free_args(&args);
    if (session == nullptr)
        throw std::runtime_error("cannot begin a FUSE session");
    const std::string mounted = "/dev/fd/" + std::to_string(descriptor);
    if (fuse_session_mount(session, mounted.c_str()) != 0)
    {
        fuse_session_destroy(session);
        throw std::runtime_error("cannot take the FUSE mount over");
    }
}

CFuseServerPrivate::~CFuseServerPrivate()
{
    fuse_session_destroy(session);
    std::free(buffer.mem);
}

CFuseServer::CFuseServer(CBoard& board, int descriptor) : d(std::make_unique<CFuseServerPrivate>(board, descriptor)) {}

CFuseServer::~CFuseServer() = default;

int CFuseServer::descriptor() const { return fuse_session_fd(d->session); }

bool CFuseServer::answer()
{
    const int size = fuse_session_receive_buf(d->session, &d->buffer);
    if (size == -EINTR || size == -EAGAIN)
        return true;
    if (size <= 0)
        return false;
    fuse_session_process_buf(d->session, &d->buffer);
    return fuse_session_exited(d->session) == 0;
}

} // namespace Sim
