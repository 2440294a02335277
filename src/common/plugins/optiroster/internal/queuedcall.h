#pragma once

#include <QMetaObject>
#include <QObject>

#include <utility>

#if defined(__SANITIZE_THREAD__)
#include <sanitizer/tsan_interface.h>
#endif

namespace Plugin::OptiRoster::Internal {

#if defined(__SANITIZE_THREAD__)
// Qt's event queue orders what the posting thread did, the function's captures among it, before
// the call runs on the receiver's thread, and the call before the function is destroyed where Qt
// lets go of it last; but it does so inside its own library, which ThreadSanitizer doesn't see.
// In such a build this wrapper tells it that order, on its own address: the last move is the
// one into Qt's slot object, whose address stays put until it is destroyed.
template <typename Function>
class CHandedOverCall
{
public:
    explicit CHandedOverCall(Function function)
        : m_function(std::move(function))
    {
    }
    CHandedOverCall(CHandedOverCall&& other)
        : m_function(std::move(other.m_function))
    {
        __tsan_release(this);
    }
    CHandedOverCall(const CHandedOverCall&) = delete;
    CHandedOverCall& operator=(const CHandedOverCall&) = delete;
    ~CHandedOverCall() { __tsan_acquire(this); }

    void operator()()
    {
        __tsan_acquire(this);
        m_function();
        __tsan_release(this);
    }

private:
    Function m_function;
};
#endif

// Runs the function on the receiver's thread by a queued call.
template <typename Function>
void postQueuedCall(QObject* receiver, Function function)
{
#if defined(__SANITIZE_THREAD__)
    QMetaObject::invokeMethod(receiver, CHandedOverCall<Function>(std::move(function)), Qt::QueuedConnection);
#else
    QMetaObject::invokeMethod(receiver, std::move(function), Qt::QueuedConnection);
#endif
}

} // namespace Plugin::OptiRoster::Internal
