#include "callbackhold.h"

#include <QtGlobal>

#include <deque>
#include <exception>
#include <utility>

namespace Core {

namespace {

struct CThreadHolds
{
    int depth = 0;
    std::deque<std::function<void()>> held;
};

CThreadHolds& threadHolds()
{
    thread_local CThreadHolds holds;
    return holds;
}

void runLoggingFailures(const std::function<void()>& callback)
{
    try {
        callback();
    } catch (const std::exception& e) {
        qWarning("A held callback threw: %s", e.what());
    } catch (...) {
        qWarning("A held callback threw an exception that is not a std::exception");
    }
}

} // namespace

CCallbackHold::CCallbackHold()
{
    ++threadHolds().depth;
}

CCallbackHold::~CCallbackHold()
{
    CThreadHolds& holds = threadHolds();
    if (--holds.depth > 0)
        return;
    // The thread holds nothing now: the held calls run as if made now, each one's own calls (and
    // holds) inside it, before the next held one, as a signal's direct receivers would.
    std::deque<std::function<void()>> held;
    held.swap(holds.held);
    while (!held.empty()) {
        const std::function<void()> callback = std::move(held.front());
        held.pop_front();
        runLoggingFailures(callback);
    }
}

void CCallbackHold::call(std::function<void()> callback)
{
    CThreadHolds& holds = threadHolds();
    if (holds.depth > 0)
        holds.held.push_back(std::move(callback));
    else
        callback();
}

bool CCallbackHold::isHolding()
{
    return threadHolds().depth > 0;
}

} // namespace Core
