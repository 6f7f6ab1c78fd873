#include <kiv/Mutex.h>

#include <QMutex>

#include "kiv/env/qt/core/QtSync.h"

namespace Kiv
{

class CMutexPrivate : public CSyncMutex<QRecursiveMutex>
{};

CMutex::CMutex() : d(std::make_unique<CMutexPrivate>()) {}

CMutex::~CMutex() = default;

// Who holds a CMutex, its users know; clang is not told.
KIV_UNCHECKED void CMutex::lock() { d->lock(); }

KIV_UNCHECKED void CMutex::unlock() { d->unlock(); }

} // namespace Kiv
