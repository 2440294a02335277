#include <tavix/runtime.h>
#include <tavix/sim/simcontrol.h>

#include <QMutex>
#include <QMutexLocker>
#include <QThread>

namespace {

struct Runtime
{
    QMutex mutex;
    TavixSim::RuntimeCounters counters;
};

Runtime& runtime()
{
    static Runtime instance;
    return instance;
}

} // namespace

namespace Tavix {

void TavixInitialize()
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    ++r.counters.initializeCalls;
    ++r.counters.users;
}

void TavixTerminate(bool /*shutDownLogging*/)
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    ++r.counters.terminateCalls;
    if (r.counters.users > 0)
        --r.counters.users;
    else
        qWarning("Tavix: TavixTerminate called without a matching TavixInitialize");
}

bool IsTavixInitialized()
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    return r.counters.users > 0;
}

void GetRTThreadPriorityCapabilities(int& min, int& max)
{
    min = 0;
    max = 0;
}

namespace WaitObject {
void Sleep(unsigned long milliseconds)
{
    QThread::msleep(milliseconds);
}
} // namespace WaitObject

} // namespace Tavix

namespace TavixSim {

RuntimeCounters runtimeCounters()
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    return r.counters;
}

} // namespace TavixSim
