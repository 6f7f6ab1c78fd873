#include <kiv/Mutex.h>

#include <QMutex>

#include "QtSync.h"

namespace Kiv
{

namespace
{
struct RecursiveQMutex : QMutex
{
    RecursiveQMutex() : QMutex(QMutex::Recursive) {}
};
} // namespace

class CMutexPrivate : public CSyncMutex<RecursiveQMutex>
{};

CMutex::CMutex() : d(std::make_unique<CMutexPrivate>()) {}

CMutex::~CMutex() = default;

void CMutex::lock() { d->lock(); }

void CMutex::unlock() { d->unlock(); }

} // namespace Kiv
