#include "OpenFile.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <poll.h>

#include "Node.h"

namespace Sim
{

COpenFile::COpenFile(std::shared_ptr<CAttribute> attribute) : opened(std::move(attribute))
{
    opened->files.push_back(this);
}

COpenFile::~COpenFile()
{
    auto& files = opened->files;
    files.erase(std::find(files.begin(), files.end(), this));
}

int COpenFile::read(std::size_t offset, std::size_t size, std::string& bytes)
{
    bytes.clear();
    if (opened->isRemoved())
        return -ENODEV;
    if (offset == 0 || !isFilled)
    {
        seenEvents = opened->eventCount();
        if (const int refusal = opened->show(text))
            return refusal;
        isFilled = true;
    }
    if (offset < text.size())
        bytes = text.substr(offset, size);
    return static_cast<int>(bytes.size());
}

int COpenFile::poll(Waker waker)
{
    if (waker)
        pending = std::move(waker);
    const int always = POLLIN | POLLRDNORM | POLLOUT | POLLWRNORM;
    const bool isChanged = opened->isRemoved() || seenEvents != opened->eventCount();
    return isChanged ? always | POLLPRI | POLLERR : always;
}

void COpenFile::wake()
{
    if (const Waker waker = std::exchange(pending, nullptr))
        waker();
}

} // namespace Sim
