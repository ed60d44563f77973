#include <QFutureInterface>
#include <QFutureWatcher>
#include <QMutex>
#include <QThreadPool>

#include <dlfcn.h>

// The thread sanitizer sees only what was compiled with it, and the toolkit wasn't: it takes
// correct use of the toolkit's locks for races, and suppressing those would hide the real
// ones. Linked into a program, these stand in front of the toolkit's operations and tell the
// sanitizer what they order.
extern "C" void __tsan_acquire(void *address); // NOLINT(bugprone-reserved-identifier)
extern "C" void __tsan_release(void *address); // NOLINT(bugprone-reserved-identifier)

namespace {

char threadPool; // stands for the hand-over of work to threads and back

/** The operation itself, found by its name in the library. */
template <typename Result, typename... Arguments>
Result callToolkit(const char *name, Arguments... arguments)
{
    using Function = Result (*)(Arguments...);
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name))(arguments...);
}

} // namespace

void QMutex::lock()
{
    callToolkit<void>("_ZN6QMutex4lockEv", this);
    __tsan_acquire(this);
}

void QMutex::unlock() noexcept
{
    __tsan_release(this);
    callToolkit<void>("_ZN6QMutex6unlockEv", this);
}

void QThreadPool::start(QRunnable *runnable, int priority)
{
    __tsan_release(&threadPool);
    callToolkit<void>("_ZN11QThreadPool5startEP9QRunnablei", this, runnable, priority);
}

// The first thing that work does in its thread.
bool QFutureInterfaceBase::isCanceled() const
{
    __tsan_acquire(&threadPool);
    return callToolkit<bool>("_ZNK20QFutureInterfaceBase10isCanceledEv", this);
}

// The last one.
void QFutureInterfaceBase::reportFinished()
{
    __tsan_release(&threadPool);
    callToolkit<void>("_ZN20QFutureInterfaceBase14reportFinishedEv", this);
}

void QFutureWatcherBase::waitForFinished()
{
    callToolkit<void>("_ZN18QFutureWatcherBase15waitForFinishedEv", this);
    __tsan_acquire(&threadPool);
}
