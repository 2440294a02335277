// Makes Qt 5's locks, wait conditions and thread pool hand-overs visible to ThreadSanitizer. Qt's
// QMutex and QReadWriteLock are built on futexes inside an uninstrumented library, so TSan sees
// neither their locking nor the order it gives, and reports every access they guard as a race; the
// same goes for a QWaitCondition, which lets its mutex go and takes it again inside Qt, and for the
// work a QThreadPool hands to its threads. Preloaded into the tests of a TSan build, this library
// stands in front of Qt's exported operations and tells TSan what each does, then lets Qt's own
// code do it. Qt's calls to its own locks stay inside Qt and are not seen; the suppressions file
// covers those.
#include <QDeadlineTimer>
#include <QFutureInterfaceBase>
#include <QMutex>
#include <QReadWriteLock>
#include <QRunnable>
#include <QThreadPool>
#include <QWaitCondition>

#include <sanitizer/tsan_interface.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

template <typename Function>
Function real(const char* symbol)
{
    void* found = dlsym(RTLD_NEXT, symbol);
    if (!found) {
        std::fprintf(stderr, "qtlocks: %s is not in the libraries after this one\n", symbol);
        std::abort();
    }
    return reinterpret_cast<Function>(found);
}

// The read locks a thread holds, so that an unlock tells TSan which kind it releases.
constexpr int MaxReadLocks = 64;
thread_local const void* t_readLocks[MaxReadLocks];
thread_local int t_readLockCount = 0;

void noteReadLock(const void* lock)
{
    if (t_readLockCount < MaxReadLocks)
        t_readLocks[t_readLockCount++] = lock;
}

bool takeReadLock(const void* lock)
{
    for (int i = t_readLockCount - 1; i >= 0; --i) {
        if (t_readLocks[i] == lock) {
            t_readLocks[i] = t_readLocks[--t_readLockCount];
            return true;
        }
    }
    return false;
}

// Tells TSan about a lock taken by `attempt`, which answers whether it got the lock; flags carry
// __tsan_mutex_read_lock and __tsan_mutex_try_lock as the operation is.
template <typename Attempt>
bool annotatedLock(void* lock, unsigned flags, Attempt attempt)
{
    __tsan_mutex_pre_lock(lock, flags);
    const bool acquired = attempt();
    __tsan_mutex_post_lock(lock, flags | (acquired ? 0u : __tsan_mutex_try_lock_failed), 0);
    if (acquired && (flags & __tsan_mutex_read_lock))
        noteReadLock(lock);
    return acquired;
}

template <typename Release>
void annotatedUnlock(void* lock, unsigned flags, Release release)
{
    __tsan_mutex_pre_unlock(lock, flags);
    release();
    __tsan_mutex_post_unlock(lock, flags);
}

// Runs a runnable that was handed over with a release on this object's address.
class CHandedOverRunnable : public QRunnable
{
public:
    explicit CHandedOverRunnable(QRunnable* runnable)
        : m_pRunnable(runnable)
    {
        setAutoDelete(true);
    }
    void run() override
    {
        __tsan_acquire(this);
        // Asked before the run, as the pool does: a runnable that isn't deleted by the pool may
        // delete itself in its run.
        const bool deleteAfterRun = m_pRunnable->autoDelete();
        m_pRunnable->run();
        if (deleteAfterRun)
            delete m_pRunnable;
    }

private:
    QRunnable* m_pRunnable;
};

// Runs a function that was handed over with a release on this object's address. The pool thread
// reaches the function only through run(), after the acquire; Qt's own wrapper of a function
// would be read on that thread before any code of ours runs.
class CHandedOverFunction : public QRunnable
{
public:
    explicit CHandedOverFunction(std::function<void()> work)
        : m_work(std::move(work))
    {
        setAutoDelete(true);
    }
    void run() override
    {
        __tsan_acquire(this);
        m_work();
    }

private:
    std::function<void()> m_work;
};

void startRunnable(QThreadPool* pool, QRunnable* runnable, int priority)
{
    static const auto start = real<void (*)(QThreadPool*, QRunnable*, int)>("_ZN11QThreadPool5startEP9QRunnablei");
    start(pool, runnable, priority);
}

// The state a QFuture shares with its task: QFutureInterfaceBase holds nothing but a pointer to
// it after its table of virtual functions, and every copy of a future points to the same.
const void* sharedFutureState(const QFutureInterfaceBase* future)
{
    return *reinterpret_cast<const void* const*>(reinterpret_cast<const char*>(future) + sizeof(void*));
}

} // namespace

extern "C" {

// QFuture: what a task did before it finished happens before a wait or check that sees it so.

void _ZN20QFutureInterfaceBase14reportFinishedEv(QFutureInterfaceBase* self)
{
    static const auto reportFinished = real<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(const_cast<void*>(sharedFutureState(self)));
    reportFinished(self);
}

void _ZN20QFutureInterfaceBase15waitForFinishedEv(QFutureInterfaceBase* self)
{
    static const auto waitForFinished = real<void (*)(QFutureInterfaceBase*)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    waitForFinished(self);
    __tsan_acquire(const_cast<void*>(sharedFutureState(self)));
}

bool _ZNK20QFutureInterfaceBase10isFinishedEv(const QFutureInterfaceBase* self)
{
    static const auto isFinished = real<bool (*)(const QFutureInterfaceBase*)>("_ZNK20QFutureInterfaceBase10isFinishedEv");
    const bool finished = isFinished(self);
    if (finished)
        __tsan_acquire(const_cast<void*>(sharedFutureState(self)));
    return finished;
}

// QThreadPool: what the starting thread did happens before the run.

void _ZN11QThreadPool5startEP9QRunnablei(QThreadPool* self, QRunnable* runnable, int priority)
{
    if (!runnable) {
        startRunnable(self, runnable, priority);
        return;
    }
    auto* handedOver = new CHandedOverRunnable(runnable);
    __tsan_release(handedOver);
    startRunnable(self, handedOver, priority);
}

// The std::function travels by a hidden pointer to the caller's copy; it goes to the pool as a
// runnable of ours, as Qt's own overload would wrap it.
void _ZN11QThreadPool5startESt8functionIFvvEEi(QThreadPool* self, std::function<void()>* function, int priority)
{
    if (!*function)
        return;
    auto* handedOver = new CHandedOverFunction(std::move(*function));
    __tsan_release(handedOver);
    startRunnable(self, handedOver, priority);
}

// QMutex (and QRecursiveMutex, which is one)

void _ZN6QMutex4lockEv(QMutex* self)
{
    static const auto lock = real<void (*)(QMutex*)>("_ZN6QMutex4lockEv");
    annotatedLock(self, 0, [&] { lock(self); return true; });
}

bool _ZN6QMutex7tryLockEi(QMutex* self, int timeout)
{
    static const auto tryLock = real<bool (*)(QMutex*, int)>("_ZN6QMutex7tryLockEi");
    return annotatedLock(self, __tsan_mutex_try_lock, [&] { return tryLock(self, timeout); });
}

void _ZN6QMutex6unlockEv(QMutex* self)
{
    static const auto unlock = real<void (*)(QMutex*)>("_ZN6QMutex6unlockEv");
    annotatedUnlock(self, 0, [&] { unlock(self); });
}

void _ZN6QMutexD1Ev(QMutex* self)
{
    static const auto destroy = real<void (*)(QMutex*)>("_ZN6QMutexD1Ev");
    __tsan_mutex_destroy(self, 0);
    destroy(self);
}

void _ZN6QMutexD2Ev(QMutex* self)
{
    static const auto destroy = real<void (*)(QMutex*)>("_ZN6QMutexD2Ev");
    __tsan_mutex_destroy(self, 0);
    destroy(self);
}

// QWaitCondition: a wait lets its mutex go and takes it again inside Qt, where TSan doesn't see it.

bool _ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer(QWaitCondition* self, QMutex* mutex, QDeadlineTimer deadline)
{
    static const auto wait = real<bool (*)(QWaitCondition*, QMutex*, QDeadlineTimer)>("_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
    annotatedUnlock(mutex, 0, [] {});
    bool woken = false;
    annotatedLock(mutex, 0, [&] {
        woken = wait(self, mutex, deadline);
        return true;
    });
    return woken;
}

bool _ZN14QWaitCondition4waitEP6QMutexm(QWaitCondition* self, QMutex* mutex, unsigned long time)
{
    static const auto wait = real<bool (*)(QWaitCondition*, QMutex*, unsigned long)>("_ZN14QWaitCondition4waitEP6QMutexm");
    annotatedUnlock(mutex, 0, [] {});
    bool woken = false;
    annotatedLock(mutex, 0, [&] {
        woken = wait(self, mutex, time);
        return true;
    });
    return woken;
}

// QReadWriteLock

void _ZN14QReadWriteLock11lockForReadEv(QReadWriteLock* self)
{
    static const auto lock = real<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock11lockForReadEv");
    annotatedLock(self, __tsan_mutex_read_lock, [&] { lock(self); return true; });
}

bool _ZN14QReadWriteLock14tryLockForReadEv(QReadWriteLock* self)
{
    static const auto tryLock = real<bool (*)(QReadWriteLock*)>("_ZN14QReadWriteLock14tryLockForReadEv");
    return annotatedLock(self, __tsan_mutex_read_lock | __tsan_mutex_try_lock, [&] { return tryLock(self); });
}

bool _ZN14QReadWriteLock14tryLockForReadEi(QReadWriteLock* self, int timeout)
{
    static const auto tryLock = real<bool (*)(QReadWriteLock*, int)>("_ZN14QReadWriteLock14tryLockForReadEi");
    return annotatedLock(self, __tsan_mutex_read_lock | __tsan_mutex_try_lock, [&] { return tryLock(self, timeout); });
}

void _ZN14QReadWriteLock12lockForWriteEv(QReadWriteLock* self)
{
    static const auto lock = real<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock12lockForWriteEv");
    annotatedLock(self, 0, [&] { lock(self); return true; });
}

bool _ZN14QReadWriteLock15tryLockForWriteEv(QReadWriteLock* self)
{
    static const auto tryLock = real<bool (*)(QReadWriteLock*)>("_ZN14QReadWriteLock15tryLockForWriteEv");
    return annotatedLock(self, __tsan_mutex_try_lock, [&] { return tryLock(self); });
}

bool _ZN14QReadWriteLock15tryLockForWriteEi(QReadWriteLock* self, int timeout)
{
    static const auto tryLock = real<bool (*)(QReadWriteLock*, int)>("_ZN14QReadWriteLock15tryLockForWriteEi");
    return annotatedLock(self, __tsan_mutex_try_lock, [&] { return tryLock(self, timeout); });
}

void _ZN14QReadWriteLock6unlockEv(QReadWriteLock* self)
{
    static const auto unlock = real<void (*)(QReadWriteLock*)>("_ZN14QReadWriteLock6unlockEv");
    annotatedUnlock(self, takeReadLock(self) ? __tsan_mutex_read_lock : 0u, [&] { unlock(self); });
}

} // extern "C"
