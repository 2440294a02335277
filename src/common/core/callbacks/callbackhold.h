#pragma once

#include <functional>

namespace Core {

/// Holds back the calls to client code (signals, listeners, handlers) that a thread makes while
/// it holds locks, and makes them, in the order they were made, when the thread's outermost hold
/// ends. An owner takes a hold before it locks and lets it go after it unlocks: client code then
/// runs with nothing of the owner's locked, and may call back into any service from any thread
/// without closing a cycle of locks with another thread.
///
/// Holds nest, and each thread has its own. The held calls run with the thread holding nothing,
/// one after the other, as a signal's direct receivers would: what one of them calls, it calls
/// at once, before the next held one runs.
class CCallbackHold
{
public:
    CCallbackHold();
    /// The outermost hold runs what was held; a held call that throws is logged, and the rest
    /// still run.
    ~CCallbackHold();

    CCallbackHold(const CCallbackHold&) = delete;
    CCallbackHold& operator=(const CCallbackHold&) = delete;

    /// Runs callback now when the calling thread holds nothing, else when its outermost hold ends.
    static void call(std::function<void()> callback);
    /// Whether the calling thread is inside a hold.
    static bool isHolding();
};

} // namespace Core
