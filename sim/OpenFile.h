/// One open attribute: what a descriptor has besides the attribute itself.
#ifndef KIV_SIM_OPENFILE_H
#define KIV_SIM_OPENFILE_H

#include <functional>
#include <memory>
#include <string>

namespace Sim
{

class CAttribute;

/// Holds the text of the last reading and what the reader knows of changes. It must not outlive its attribute's board.
///
/// Threads, errors: as CNode.
class COpenFile
{
public:
    using Waker = std::function<void()>;

    explicit COpenFile(std::shared_ptr<CAttribute> attribute);
    COpenFile(const COpenFile&) = delete;
    COpenFile& operator=(const COpenFile&) = delete;
    ~COpenFile();

    CAttribute& attribute() const { return *opened; }

    /// Stores up to `size` bytes from `offset` of the text and returns their number. The text is asked anew at offset
    /// 0, and by the first read; that also takes note of all changes so far.
    int read(std::size_t offset, std::size_t size, std::string& bytes);

    /// The poll mask. Changed means at once: before the first read, since the last change, and without the device.
    /// `waker` is called once at the next change; an empty one leaves the earlier one in place.
    int poll(Waker waker);

    /// Calls the waker, if there is one.
    void wake();

private:
    std::shared_ptr<CAttribute> opened;
    unsigned seenEvents = 0;
    bool isFilled = false;
    std::string text;
    Waker pending;
};

} // namespace Sim

#endif
