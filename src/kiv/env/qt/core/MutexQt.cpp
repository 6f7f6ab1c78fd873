#include <kiv/Mutex.h>

#include <QMutex>

#include "kiv/env/qt/core/QtSync.h"

namespace Kiv
{

class CMutexPrivate : public CSyncMutex<QRecursiveMutex>
{};

CMutex::CMutex() : d(std::make_unique<CMutexPrivate>()) {}

CMutex::~CMutex() = default;

void CMutex::lock() { d->lock(); }

void CMutex::unlock() { d->unlock(); }

} // namespace Kiv
