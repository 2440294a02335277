#include <tavix/runtime.h>
#include <tavix/sim/world.h>

#include <QMutex>
#include <QMutexLocker>

#include <sched.h>

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

// No SDK object may outlive the library's end; a program that breaks the rule hears of it.
void reportLiveObjects()
{
    static const char* const names[] = {"devices", "transport layers", "instant cameras", "chunk parsers", "interfaces"};
    for (int kind = 0; kind < TavixSim::LiveObjectKinds; ++kind) {
        const int live = TavixSim::CWorld::instance().liveObjects(TavixSim::LiveObject(kind));
        if (live != 0)
            qCritical("Tavix: TavixTerminate ended the SDK while %d %s are still alive", live, names[kind]);
    }
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
    if (r.counters.users == 0) {
        qWarning("Tavix: TavixTerminate called without a matching TavixInitialize");
        return;
    }
    if (--r.counters.users == 0)
        reportLiveObjects();
}

bool IsTavixInitialized()
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    return r.counters.users > 0;
}

void GetRTThreadPriorityCapabilities(int& min, int& max)
{
    min = sched_get_priority_min(SCHED_RR);
    max = sched_get_priority_max(SCHED_RR);
    if (min < 0 || max < 0)
        min = max = 0;
}

namespace WaitObject {
void Sleep(unsigned long milliseconds)
{
    TavixSim::CWorld::instance().sleep(milliseconds);
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

void resetRuntimeCounters()
{
    Runtime& r = runtime();
    QMutexLocker locker(&r.mutex);
    r.counters.initializeCalls = 0;
    r.counters.terminateCalls = 0;
}

} // namespace TavixSim
